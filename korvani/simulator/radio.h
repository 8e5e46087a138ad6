// What the location service of the simulated phone hears and knows, when it listens to a radio.
#pragma once

#include <korvani/location/advertisement_source.h>
#include <korvani/location/position_source.h>
#include <korvani/simulator/settings.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

namespace korvani::simulator {

/// Main thread.
class SimulatedRadio final : public location::AdvertisementSource {
 public:
  void setListener(std::weak_ptr<location::AdvertisementListener> listener) override {
    listener_ = std::move(listener);
  }
  void listen(const location::Listening& wanted) override { wanted_ = wanted; }

  /// An advertisement is in the air.
  void send(std::span<const std::uint8_t> advertisingData, int rssi);
  /// Nothing: it can hear.
  void setFailure(const std::optional<std::string>& failure);

 private:
  std::weak_ptr<location::AdvertisementListener> listener_;
  location::Listening wanted_;
  std::optional<std::string> failure_;
};

/// Main thread, but for the coordinate, which is that of the settings.
class SimulatedPositions final : public location::PositionSource {
 public:
  explicit SimulatedPositions(const Settings& settings) : settings_(settings) {}

  void setListener(std::weak_ptr<location::PositionListener> listener) override {
    listener_ = std::move(listener);
  }
  void start() override {}
  void stop() override {}
  std::optional<platform::Coordinate> lastCoordinate() const override { return settings_.location; }

  void setFailure(const std::optional<std::string>& failure);

 private:
  const Settings& settings_;
  std::weak_ptr<location::PositionListener> listener_;
};

}  // namespace korvani::simulator
