// Regions and ranging over the steps of a walk. The newest manager stands for all: it takes over
// the regions of the earlier ones, whose ranging ends, so nothing is told twice.
#include <korvani/platform/atomic.h>
#include <korvani/qt/log.h>
#include <korvani/qt/walk_location.h>

#include <QTimer>
#include <algorithm>
#include <map>

namespace korvani::qt {

namespace {

using platform::BeaconRegion;
using platform::LocationManagerDelegate;
using platform::Region;
using platform::RegionState;

constexpr std::chrono::seconds kRangingPeriod{1};

using Clock = std::chrono::steady_clock;

}  // namespace

/// All on the main thread, and never inside a call of a manager.
class WalkLocationService::Service {
 public:
  explicit Service(std::optional<Walk> walk);

  void setManager(const std::shared_ptr<Manager>& manager);
  void startMonitoring(const std::shared_ptr<const BeaconRegion>& region);
  void requestState(const std::shared_ptr<const Region>& region);
  void startRanging(const std::shared_ptr<const Region>& region);
  void stopRanging(const std::string& identifier);

 private:
  struct Monitored {
    std::shared_ptr<const BeaconRegion> region;
    RegionState state = RegionState::kUnknown;
  };

  void walkOn();
  void cross(const std::string& identifier);
  void range();
  std::vector<platform::Beacon> beaconsOf(const Region& region) const;
  RegionState stateOf(const Region& region) const;
  template <typename... Arguments>
  void tell(void (LocationManagerDelegate::*what)(const std::shared_ptr<platform::LocationManager>&,
                                                  Arguments...),
            const std::type_identity_t<Arguments>&... arguments);

  const std::vector<WalkStep> steps_;
  const std::optional<std::string> flaw_;
  const Clock::time_point beginning_ = Clock::now();
  std::size_t nextStep_ = 0;
  std::vector<WalkBeacon> inRange_;
  std::weak_ptr<Manager> manager_;
  std::map<std::string, Monitored> monitored_;
  std::map<std::string, std::shared_ptr<const Region>> ranged_;
  QTimer stepTimer_;
  QTimer rangingTimer_;
};

/// Takes each request to the main thread.
class WalkLocationService::Manager final : public platform::LocationManager {
 public:
  Manager(platform::Queue& mainQueue, std::shared_ptr<Service> service)
      : mainQueue_(mainQueue), service_(std::move(service)) {}

  std::shared_ptr<LocationManagerDelegate> delegate() const { return delegate_.load().lock(); }

  void setDelegate(std::weak_ptr<LocationManagerDelegate> delegate) override {
    delegate_.store(std::move(delegate));
  }
  void startMonitoringForRegion(std::shared_ptr<const BeaconRegion> region) override {
    mainQueue_.async([service = service_, region] { service->startMonitoring(region); });
  }
  void requestStateForRegion(std::shared_ptr<const Region> region) override {
    mainQueue_.async([service = service_, region] { service->requestState(region); });
  }
  void startRangingBeaconsInRegion(std::shared_ptr<const Region> region) override {
    mainQueue_.async([service = service_, region] { service->startRanging(region); });
  }
  void stopRangingBeaconsInRegion(std::shared_ptr<const Region> region) override {
    mainQueue_.async([service = service_, region] { service->stopRanging(region->identifier); });
  }
  void startUpdatingLocation() override {}
  void stopUpdatingLocation() override {}
  std::optional<platform::Coordinate> location() const override { return std::nullopt; }

 private:
  platform::Queue& mainQueue_;
  const std::shared_ptr<Service> service_;
  platform::Atomic<std::weak_ptr<LocationManagerDelegate>> delegate_;
};

WalkLocationService::Service::Service(std::optional<Walk> walk)
    : steps_(walk ? std::move(walk->steps) : std::vector<WalkStep>()),
      flaw_(walk ? walk->flaw : "no Bluetooth radio on this phone yet") {
  if (walk && flaw_) qCWarning(phoneLog, "%s", flaw_->c_str());
  for (QTimer* timer : {&stepTimer_, &rangingTimer_}) timer->setTimerType(Qt::PreciseTimer);
  stepTimer_.setSingleShot(true);
  rangingTimer_.setInterval(kRangingPeriod);
  QObject::connect(&stepTimer_, &QTimer::timeout, &stepTimer_, [this] { walkOn(); });
  QObject::connect(&rangingTimer_, &QTimer::timeout, &rangingTimer_, [this] { range(); });
  walkOn();
}

void WalkLocationService::Service::setManager(const std::shared_ptr<Manager>& manager) {
  manager_ = manager;
  ranged_.clear();
  rangingTimer_.stop();
}

void WalkLocationService::Service::startMonitoring(
    const std::shared_ptr<const BeaconRegion>& region) {
  if (flaw_) {
    return tell(&LocationManagerDelegate::locationManagerMonitoringDidFailForRegion, region,
                *flaw_);
  }
  Monitored& monitored = monitored_[region->identifier];
  const bool isAnother =
      monitored.region && monitored.region->proximityUUID != region->proximityUUID;
  if (isAnother) stopRanging(region->identifier);
  monitored = {region, stateOf(*region)};
  tell(&LocationManagerDelegate::locationManagerDidStartMonitoringForRegion, region);
}

void WalkLocationService::Service::requestState(const std::shared_ptr<const Region>& region) {
  tell(&LocationManagerDelegate::locationManagerDidDetermineState, stateOf(*region), region);
}

void WalkLocationService::Service::startRanging(const std::shared_ptr<const Region>& region) {
  ranged_[region->identifier] = region;
  if (!rangingTimer_.isActive()) rangingTimer_.start();
}

void WalkLocationService::Service::stopRanging(const std::string& identifier) {
  ranged_.erase(identifier);
  if (ranged_.empty()) rangingTimer_.stop();
}

/// Takes all steps that are due, each with its crossings, and waits for the next one.
void WalkLocationService::Service::walkOn() {
  const auto now = std::chrono::floor<std::chrono::milliseconds>(Clock::now() - beginning_);
  while (nextStep_ < steps_.size() && steps_[nextStep_].at <= now) {
    inRange_ = steps_[nextStep_++].beacons;
    const auto monitored = monitored_;
    for (const auto& [identifier, region] : monitored) cross(identifier);
  }
  if (nextStep_ == steps_.size()) return;
  // Qt's timers count 32-bit milliseconds; a step that is far off takes several.
  constexpr std::chrono::milliseconds kLongestTimer = std::chrono::hours(24);
  stepTimer_.start(std::min(steps_[nextStep_].at - now, kLongestTimer));
}

void WalkLocationService::Service::cross(const std::string& identifier) {
  Monitored& monitored = monitored_[identifier];
  const auto region = monitored.region;
  const RegionState state = stateOf(*region);
  if (std::exchange(monitored.state, state) == state) return;
  if (state == RegionState::kInside && region->notifyOnEntry) {
    tell(&LocationManagerDelegate::locationManagerDidEnterRegion, region);
  } else if (state == RegionState::kOutside && region->notifyOnExit) {
    tell(&LocationManagerDelegate::locationManagerDidExitRegion, region);
  }
  tell(&LocationManagerDelegate::locationManagerDidDetermineState, state, region);
}

void WalkLocationService::Service::range() {
  const auto ranged = ranged_;
  for (const auto& [identifier, region] : ranged) {
    tell(&LocationManagerDelegate::locationManagerDidRangeBeacons, beaconsOf(*region), region);
  }
}

std::vector<platform::Beacon> WalkLocationService::Service::beaconsOf(const Region& region) const {
  std::vector<platform::Beacon> beacons;
  const auto* wanted = dynamic_cast<const BeaconRegion*>(&region);
  if (wanted == nullptr) return beacons;
  for (const WalkBeacon& seen : inRange_) {
    if (seen.uuid.value_or(wanted->proximityUUID) != wanted->proximityUUID) continue;
    platform::Beacon beacon;
    beacon.proximityUUID = wanted->proximityUUID;
    beacon.major = seen.major;
    beacon.minor = seen.minor;
    beacon.proximity = seen.proximity;
    beacons.push_back(beacon);
  }
  return beacons;
}

RegionState WalkLocationService::Service::stateOf(const Region& region) const {
  if (flaw_ || dynamic_cast<const BeaconRegion*>(&region) == nullptr) return RegionState::kUnknown;
  return beaconsOf(region).empty() ? RegionState::kOutside : RegionState::kInside;
}

template <typename... Arguments>
void WalkLocationService::Service::tell(
    void (LocationManagerDelegate::*what)(const std::shared_ptr<platform::LocationManager>&,
                                          Arguments...),
    const std::type_identity_t<Arguments>&... arguments) {
  const auto manager = manager_.lock();
  const auto delegate = manager ? manager->delegate() : nullptr;
  if (delegate) (delegate.get()->*what)(manager, arguments...);
}

WalkLocationService::WalkLocationService(platform::Queue& mainQueue, std::optional<Walk> walk)
    : mainQueue_(mainQueue), service_(std::make_shared<Service>(std::move(walk))) {}

WalkLocationService::~WalkLocationService() = default;

std::shared_ptr<platform::LocationManager> WalkLocationService::newLocationManager() {
  auto manager = std::make_shared<Manager>(mainQueue_, service_);
  service_->setManager(manager);
  return manager;
}

}  // namespace korvani::qt
