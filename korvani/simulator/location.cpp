// The simulated phone's location managers.
#include <korvani/simulator/location.h>

#include <utility>

namespace korvani::simulator {

using platform::BeaconRegion;
using platform::Value;

namespace {

Value describe(const platform::Region& region) {
  const auto* beacons = dynamic_cast<const BeaconRegion*>(&region);
  if (!beacons) return Value::Dictionary{{"identifier", region.identifier}};
  return Value::Dictionary{{"identifier", region.identifier},
                           {"proximityUUID", beacons->proximityUUID.UUIDString()},
                           {"notifyOnEntry", beacons->notifyOnEntry},
                           {"notifyOnExit", beacons->notifyOnExit},
                           {"notifyEntryStateOnDisplay", beacons->notifyEntryStateOnDisplay}};
}

}  // namespace

class SimulatedLocationService::Manager : public platform::LocationManager {
 public:
  Manager(SimulatedLocationService& service, std::size_t number)
      : service_(service), number_(number) {
    record("create");
  }

  std::shared_ptr<platform::LocationManagerDelegate> delegate() const {
    return delegate_.load().lock();
  }

  void setDelegate(std::weak_ptr<platform::LocationManagerDelegate> delegate) override {
    delegate_.store(std::move(delegate));
  }
  void startMonitoringForRegion(std::shared_ptr<const BeaconRegion> region) override {
    record("startMonitoringForRegion", region.get());
    service_.lastStarted_.store(std::move(region));
  }
  void requestStateForRegion(Region region) override {
    record("requestStateForRegion", region.get());
  }
  void startRangingBeaconsInRegion(Region region) override {
    record("startRangingBeaconsInRegion", region.get());
  }
  void stopRangingBeaconsInRegion(Region region) override {
    record("stopRangingBeaconsInRegion", region.get());
  }
  void startUpdatingLocation() override { record("startUpdatingLocation"); }
  void stopUpdatingLocation() override { record("stopUpdatingLocation"); }
  void requestAlwaysAuthorization() override { record("requestAlwaysAuthorization"); }
  std::optional<platform::Coordinate> location() const override {
    return service_.settings_.location;
  }

 private:
  void record(std::string_view operation, const platform::Region* region = nullptr) {
    Value::Dictionary content{{"operation", operation}, {"manager", number_}};
    if (region) content.emplace("region", describe(*region));
    service_.recorder_.record("location", std::move(content));
  }

  SimulatedLocationService& service_;
  const std::size_t number_;
  platform::Atomic<std::weak_ptr<platform::LocationManagerDelegate>> delegate_;
};

std::shared_ptr<platform::LocationManager> SimulatedLocationService::newLocationManager() {
  return managers_.emplace_back(std::make_shared<Manager>(*this, managers_.size() + 1));
}

void SimulatedLocationService::report(const LocationEventSource& source, const Report& report) {
  const std::size_t number = source.manager.value_or(managers_.size());
  if (number == 0 || number > managers_.size()) return;
  const std::shared_ptr<Manager> manager = managers_[number - 1];
  const auto delegate = manager->delegate();
  const Region region = regionOf(source);
  if (delegate && region) report(*delegate, manager, region);
}

SimulatedLocationService::Region SimulatedLocationService::regionOf(
    const LocationEventSource& source) const {
  const auto last = lastStarted_.load();
  if (!last) return nullptr;
  if (!source.beaconRegion) return std::make_shared<platform::Region>("other");
  if (!source.proximityUUID || *source.proximityUUID == last->proximityUUID) return last;
  auto region = std::make_shared<BeaconRegion>(*last);
  region->proximityUUID = *source.proximityUUID;
  return region;
}

}  // namespace korvani::simulator
