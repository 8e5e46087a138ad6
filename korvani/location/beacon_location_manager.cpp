// Takes each request to the main thread, where the shared core is.
#include <korvani/location/beacon_location_manager.h>
#include <korvani/location/location_core.h>

#include <utility>

namespace korvani::location {

using platform::BeaconRegion;
using platform::Region;

BeaconLocationManager::BeaconLocationManager(platform::Queues& queues,
                                             std::shared_ptr<LocationCore> core)
    : queues_(queues), core_(std::move(core)) {}

template <typename Request>
void BeaconLocationManager::ask(Request request) {
  queues_.mainQueue().async([weak = weak_from_this(), request = std::move(request)] {
    const auto self = weak.lock();
    if (self && self->core_->isManager(*self)) request(*self->core_);
  });
}

void BeaconLocationManager::setDelegate(std::weak_ptr<platform::LocationManagerDelegate> delegate) {
  delegate_.store(std::move(delegate));
}

void BeaconLocationManager::startMonitoringForRegion(std::shared_ptr<const BeaconRegion> region) {
  if (!region) return;
  ask([region = std::move(region)](LocationCore& core) { core.startMonitoring(region); });
}

void BeaconLocationManager::requestStateForRegion(std::shared_ptr<const Region> region) {
  if (!region) return;
  ask([region = std::move(region)](LocationCore& core) { core.requestState(region); });
}

void BeaconLocationManager::startRangingBeaconsInRegion(std::shared_ptr<const Region> region) {
  if (!region) return;
  ask([region = std::move(region)](LocationCore& core) { core.startRanging(region); });
}

void BeaconLocationManager::stopRangingBeaconsInRegion(std::shared_ptr<const Region> region) {
  if (!region) return;
  ask([region = std::move(region)](LocationCore& core) { core.stopRanging(region); });
}

void BeaconLocationManager::startUpdatingLocation() {
  ask([](LocationCore& core) { core.startUpdatingLocation(); });
}

void BeaconLocationManager::stopUpdatingLocation() {
  ask([](LocationCore& core) { core.stopUpdatingLocation(); });
}

void BeaconLocationManager::requestAlwaysAuthorization() {
  ask([](LocationCore& core) { core.positions().requestAlwaysAuthorization(); });
}

std::optional<platform::Coordinate> BeaconLocationManager::location() const {
  return core_->positions().lastCoordinate();
}

BeaconLocationService::BeaconLocationService(platform::Queues& queues, platform::Log& log,
                                             MomentSource now,
                                             std::shared_ptr<AdvertisementSource> radio,
                                             std::shared_ptr<PositionSource> positions,
                                             const LocationSettings& settings)
    : queues_(queues),
      core_(
          std::make_shared<LocationCore>(queues, log, std::move(now), radio, positions, settings)) {
  radio->setListener(core_);
  positions->setListener(core_);
}

BeaconLocationService::~BeaconLocationService() = default;

std::shared_ptr<platform::LocationManager> BeaconLocationService::newLocationManager() {
  auto manager = std::make_shared<BeaconLocationManager>(queues_, core_);
  core_->setManager(manager);
  return manager;
}

void BeaconLocationService::displayTurnedOn() { core_->displayTurnedOn(); }

}  // namespace korvani::location
