// Location managers that pass everything on, and tell a script what the kit hears.
#include <korvani/platform/atomic.h>
#include <korvani/simulator/recorded_location.h>

#include <cmath>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace korvani::simulator {

using namespace platform;

namespace {

using Dictionary = Value::Dictionary;

/// Stands between a manager and the kit, which takes it for the manager.
class RecordedManager final : public LocationManager,
                              public LocationManagerDelegate,
                              public std::enable_shared_from_this<RecordedManager> {
 public:
  RecordedManager(std::shared_ptr<LocationManager> manager, int number, ScriptWriter& script)
      : manager_(std::move(manager)), number_(number), script_(script) {}

  void setDelegate(std::weak_ptr<LocationManagerDelegate> delegate) override {
    delegate_.store(std::move(delegate));
    manager_->setDelegate(weak_from_this());
  }
  void startMonitoringForRegion(std::shared_ptr<const BeaconRegion> region) override {
    manager_->startMonitoringForRegion(std::move(region));
  }
  void requestStateForRegion(std::shared_ptr<const Region> region) override {
    manager_->requestStateForRegion(std::move(region));
  }
  void startRangingBeaconsInRegion(std::shared_ptr<const Region> region) override {
    manager_->startRangingBeaconsInRegion(std::move(region));
  }
  void stopRangingBeaconsInRegion(std::shared_ptr<const Region> region) override {
    manager_->stopRangingBeaconsInRegion(std::move(region));
  }
  void startUpdatingLocation() override { manager_->startUpdatingLocation(); }
  void stopUpdatingLocation() override { manager_->stopUpdatingLocation(); }
  void requestAlwaysAuthorization() override { manager_->requestAlwaysAuthorization(); }
  std::optional<Coordinate> location() const override {
    const auto location = manager_->location();
    if (!location) {
      script_.note("location", Value());
    } else if (std::abs(location->latitude) <= 90 && std::abs(location->longitude) <= 180) {
      script_.note("location", Dictionary{{"latitude", location->latitude},
                                          {"longitude", location->longitude}});
    }
    return location;
  }

  void locationManagerDidStartMonitoringForRegion(
      const std::shared_ptr<LocationManager>&,
      const std::shared_ptr<const Region>& region) override {
    write("didStartMonitoringForRegion", region);
    if (const auto kit = delegate()) {
      kit->locationManagerDidStartMonitoringForRegion(shared_from_this(), region);
    }
  }
  void locationManagerDidEnterRegion(const std::shared_ptr<LocationManager>&,
                                     const std::shared_ptr<const Region>& region) override {
    write("didEnterRegion", region);
    if (const auto kit = delegate()) {
      kit->locationManagerDidEnterRegion(shared_from_this(), region);
    }
  }
  void locationManagerDidExitRegion(const std::shared_ptr<LocationManager>&,
                                    const std::shared_ptr<const Region>& region) override {
    write("didExitRegion", region);
    if (const auto kit = delegate()) kit->locationManagerDidExitRegion(shared_from_this(), region);
  }
  void locationManagerDidDetermineState(const std::shared_ptr<LocationManager>&, RegionState state,
                                        const std::shared_ptr<const Region>& region) override {
    const bool isOfBeacons = dynamic_cast<const BeaconRegion*>(region.get()) != nullptr;
    write("didDetermineState", region,
          {{"state", static_cast<int>(state)}, {"region", isOfBeacons ? "beacon" : "other"}});
    if (const auto kit = delegate()) {
      kit->locationManagerDidDetermineState(shared_from_this(), state, region);
    }
  }
  void locationManagerDidRangeBeacons(const std::shared_ptr<LocationManager>&,
                                      const std::vector<Beacon>& beacons,
                                      const std::shared_ptr<const Region>& region) override {
    Value::Array list;
    for (const Beacon& beacon : beacons) {
      list.push_back(Dictionary{{"uuid", beacon.proximityUUID.UUIDString()},
                                {"major", beacon.major},
                                {"minor", beacon.minor},
                                {"proximity", beacon.proximity}});
    }
    script_.write({{"event", "didRangeBeacons"}, {"beacons", std::move(list)}});
    if (const auto kit = delegate()) {
      kit->locationManagerDidRangeBeacons(shared_from_this(), beacons, region);
    }
  }
  void locationManagerMonitoringDidFailForRegion(const std::shared_ptr<LocationManager>&,
                                                 const std::shared_ptr<const Region>& region,
                                                 const std::string& description) override {
    write("monitoringDidFailForRegion", region, {{"description", description}});
    if (const auto kit = delegate()) {
      kit->locationManagerMonitoringDidFailForRegion(shared_from_this(), region, description);
    }
  }
  void locationManagerDidFailWithError(const std::shared_ptr<LocationManager>&,
                                       const std::string& description) override {
    write("didFailWithError", nullptr, {{"description", description}});
    if (const auto kit = delegate()) {
      kit->locationManagerDidFailWithError(shared_from_this(), description);
    }
  }

 private:
  std::shared_ptr<LocationManagerDelegate> delegate() const { return delegate_.load().lock(); }

  void write(const char* event, const std::shared_ptr<const Region>& region, Dictionary line = {}) {
    line.emplace("event", event);
    line.emplace("manager", number_);
    if (const auto* beacons = dynamic_cast<const BeaconRegion*>(region.get())) {
      line.emplace("uuid", beacons->proximityUUID.UUIDString());
    }
    script_.write(std::move(line));
  }

  const std::shared_ptr<LocationManager> manager_;
  const int number_;
  ScriptWriter& script_;
  Atomic<std::weak_ptr<LocationManagerDelegate>> delegate_;
};

}  // namespace

std::shared_ptr<LocationManager> RecordedLocationService::newLocationManager() {
  return std::make_shared<RecordedManager>(service_.newLocationManager(), ++made_, script_);
}

}  // namespace korvani::simulator
