// The location-service port on a walk: its beacons come into range and go by the clock.
#pragma once

#include <korvani/platform/location_manager.h>
#include <korvani/platform/queues.h>
#include <korvani/qt/walk.h>

#include <memory>
#include <optional>

namespace korvani::qt {

/// Main thread. The walk begins now. Without one, monitoring fails; so it does with a walk that
/// could not be read, which is said in the log as well. A walk knows no position.
class WalkLocationService final : public platform::LocationService {
 public:
  WalkLocationService(platform::Queue& mainQueue, std::optional<Walk> walk);
  ~WalkLocationService() override;
  std::shared_ptr<platform::LocationManager> newLocationManager() override;

  class Manager;
  class Service;

 private:
  platform::Queue& mainQueue_;
  const std::shared_ptr<Service> service_;
};

}  // namespace korvani::qt
