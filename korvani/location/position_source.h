// The port for the device's position on the globe.
#pragma once

#include <korvani/platform/location_manager.h>

#include <memory>
#include <optional>
#include <string>

namespace korvani::location {

/// Told on the main thread, never from inside a call of the source.
class PositionListener {
 public:
  virtual ~PositionListener() = default;
  /// Why there are no new positions; nothing: there are again.
  virtual void positionFailureChanged(const std::optional<std::string>& failure) = 0;
};

/// Main thread, but for the last coordinate.
class PositionSource {
 public:
  virtual ~PositionSource() = default;
  virtual void setListener(std::weak_ptr<PositionListener> listener) = 0;
  /// Start and stop take turns.
  virtual void start() = 0;
  virtual void stop() = 0;
  /// The last fix, however old; nothing when there never was one. Any thread.
  virtual std::optional<platform::Coordinate> lastCoordinate() const = 0;
  /// Asks the user where the system has something to ask; never waits for the answer.
  virtual void requestAlwaysAuthorization() {}
};

}  // namespace korvani::location
