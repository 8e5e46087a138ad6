// The port for a radio that hears beacons: the real one, or a scripted one in its place.
#pragma once

#include <korvani/location/advertisement.h>
#include <korvani/platform/uuid.h>

#include <memory>
#include <optional>
#include <string>

namespace korvani::location {

/// How well a source should listen.
struct Listening {
  enum class Level {
    kOff,
    /// Enough to tell within seconds that beacons of `presenceOf` are there, and to hear each of
    /// them every few seconds while they are; as cheap as can be.
    kPresence,
    /// Every advertisement of every beacon.
    kFull,
  };
  Level level = Level::kOff;
  /// With kPresence alone.
  platform::Uuid presenceOf{};

  friend bool operator==(const Listening&, const Listening&) = default;
};

/// Told on the main thread, never from inside a call of the source.
class AdvertisementListener {
 public:
  virtual ~AdvertisementListener() = default;
  /// One advertisement, heard now; what is only remembered is not told. `rssi` in dBm, 0 or 127
  /// where it is not known. A beacon that nobody wants costs nothing here.
  virtual void beaconHeard(const IBeacon& beacon, int rssi) = 0;
  /// Why nothing can be heard, and what the user can do about it: "Bluetooth is switched off".
  /// Nothing: the source hears. Telling the same twice does no harm.
  virtual void availabilityChanged(const std::optional<std::string>& failure) = 0;
};

/// Main thread. Until told otherwise a source counts as one that hears. It recovers by itself: what
/// is wanted stays wanted while it cannot hear.
class AdvertisementSource {
 public:
  virtual ~AdvertisementSource() = default;
  virtual void setListener(std::weak_ptr<AdvertisementListener> listener) = 0;
  /// Called with each change alone; begins with kOff.
  virtual void listen(const Listening& wanted) = 0;
};

}  // namespace korvani::location
