// The simulated phone's location managers.
#include <korvani/simulator/location.h>

#include <cmath>
#include <utility>

namespace korvani::simulator {

using platform::BeaconRegion;
using platform::LocationManagerDelegate;
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

/// Millimetres are enough, and the same with every compiler.
double rounded(double metres) { return std::round(metres * 1000) / 1000; }

Value describe(const std::vector<platform::Beacon>& beacons) {
  Value::Array described;
  for (const platform::Beacon& beacon : beacons) {
    described.push_back(Value::Dictionary{{"uuid", beacon.proximityUUID.UUIDString()},
                                          {"major", beacon.major},
                                          {"minor", beacon.minor},
                                          {"proximity", beacon.proximity},
                                          {"accuracy", rounded(beacon.accuracy)},
                                          {"rssi", beacon.rssi}});
  }
  return described;
}

}  // namespace

/// `source` is the manager of the service below, if there is one.
class SimulatedLocationService::Manager : public platform::LocationManager {
 public:
  Manager(SimulatedLocationService& service, std::size_t number,
          std::shared_ptr<platform::LocationManager> source)
      : service_(service), number_(number), source_(std::move(source)) {
    record("create");
  }
  void hearSource(std::shared_ptr<platform::LocationManagerDelegate> delegate) {
    sourceDelegate_ = std::move(delegate);
    source_->setDelegate(sourceDelegate_);
  }

  std::shared_ptr<platform::LocationManagerDelegate> delegate() const {
    return delegate_.load().lock();
  }

  void setDelegate(std::weak_ptr<platform::LocationManagerDelegate> delegate) override {
    delegate_.store(std::move(delegate));
  }
  void startMonitoringForRegion(std::shared_ptr<const BeaconRegion> region) override {
    record("startMonitoringForRegion", region.get());
    service_.lastStarted_.store(region);
    if (source_) source_->startMonitoringForRegion(std::move(region));
  }
  void requestStateForRegion(Region region) override {
    record("requestStateForRegion", region.get());
    if (source_) source_->requestStateForRegion(std::move(region));
  }
  void startRangingBeaconsInRegion(Region region) override {
    record("startRangingBeaconsInRegion", region.get());
    if (source_) source_->startRangingBeaconsInRegion(std::move(region));
  }
  void stopRangingBeaconsInRegion(Region region) override {
    record("stopRangingBeaconsInRegion", region.get());
    if (source_) source_->stopRangingBeaconsInRegion(std::move(region));
  }
  void startUpdatingLocation() override {
    record("startUpdatingLocation");
    if (source_) source_->startUpdatingLocation();
  }
  void stopUpdatingLocation() override {
    record("stopUpdatingLocation");
    if (source_) source_->stopUpdatingLocation();
  }
  void requestAlwaysAuthorization() override {
    record("requestAlwaysAuthorization");
    if (source_) source_->requestAlwaysAuthorization();
  }
  std::optional<platform::Coordinate> location() const override {
    return source_ ? source_->location() : service_.settings_.location;
  }

 private:
  void record(std::string_view operation, const platform::Region* region = nullptr) {
    Value::Dictionary content{{"operation", operation}, {"manager", number_}};
    if (region) content.emplace("region", describe(*region));
    service_.recorder_.record("location", std::move(content));
  }

  SimulatedLocationService& service_;
  const std::size_t number_;
  const std::shared_ptr<platform::LocationManager> source_;
  std::shared_ptr<platform::LocationManagerDelegate> sourceDelegate_;
  platform::Atomic<std::weak_ptr<platform::LocationManagerDelegate>> delegate_;
};

/// Between the service below and the delegate of a manager: each callback is recorded first.
class SimulatedLocationService::RecordingDelegate : public platform::LocationManagerDelegate {
 public:
  RecordingDelegate(Recorder& recorder, std::weak_ptr<Manager> manager)
      : recorder_(recorder), manager_(std::move(manager)) {}

 private:
  using Source = std::shared_ptr<platform::LocationManager>;

  void locationManagerDidStartMonitoringForRegion(const Source&, const Region& region) override {
    forward("didStartMonitoringForRegion", true,
            &LocationManagerDelegate::locationManagerDidStartMonitoringForRegion, region);
  }
  void locationManagerDidEnterRegion(const Source&, const Region& region) override {
    forward("didEnterRegion", true, &LocationManagerDelegate::locationManagerDidEnterRegion,
            region);
  }
  void locationManagerDidExitRegion(const Source&, const Region& region) override {
    forward("didExitRegion", true, &LocationManagerDelegate::locationManagerDidExitRegion, region);
  }
  void locationManagerDidDetermineState(const Source&, platform::RegionState state,
                                        const Region& region) override {
    forward("didDetermineState", static_cast<int>(state),
            &LocationManagerDelegate::locationManagerDidDetermineState, state, region);
  }
  void locationManagerDidRangeBeacons(const Source&, const std::vector<platform::Beacon>& beacons,
                                      const Region& region) override {
    forward("didRangeBeacons", describe(beacons),
            &LocationManagerDelegate::locationManagerDidRangeBeacons, beacons, region);
  }
  void locationManagerMonitoringDidFailForRegion(const Source&, const Region& region,
                                                 const std::string& description) override {
    forward("monitoringDidFailForRegion", description,
            &LocationManagerDelegate::locationManagerMonitoringDidFailForRegion, region,
            description);
  }
  void locationManagerDidFailWithError(const Source&, const std::string& description) override {
    forward("didFailWithError", description,
            &LocationManagerDelegate::locationManagerDidFailWithError, description);
  }

  template <typename... Parameters, typename... Arguments>
  void forward(const char* name, Value content,
               void (LocationManagerDelegate::*callback)(const Source&, Parameters...),
               const Arguments&... arguments) {
    const auto manager = manager_.lock();
    const auto delegate = manager ? manager->delegate() : nullptr;
    if (!delegate) return;
    recorder_.record("callback", Value::Dictionary{{name, std::move(content)}});
    (delegate.get()->*callback)(manager, arguments...);
  }

  Recorder& recorder_;
  const std::weak_ptr<Manager> manager_;
};

std::shared_ptr<platform::LocationManager> SimulatedLocationService::newLocationManager() {
  auto source = source_ ? source_->newLocationManager() : nullptr;
  const auto manager = managers_.emplace_back(
      std::make_shared<Manager>(*this, managers_.size() + 1, std::move(source)));
  if (source_) manager->hearSource(std::make_shared<RecordingDelegate>(recorder_, manager));
  return manager;
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
