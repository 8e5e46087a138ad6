// Requests and sightings change what is known; what changed is told in a job of its own.
#include <korvani/location/beacon_location_manager.h>
#include <korvani/location/location_core.h>

#include <algorithm>
#include <utility>

namespace korvani::location {

using platform::BeaconRegion;
using platform::RegionState;

namespace {

/// How late a wake-up may come on a phone that is merely busy.
constexpr std::chrono::milliseconds kLongestDelay{2000};

}  // namespace

LocationCore::LocationCore(platform::Queues& queues, platform::Log& log, MomentSource now,
                           std::shared_ptr<AdvertisementSource> radio,
                           std::shared_ptr<PositionSource> positions,
                           const LocationSettings& settings)
    : queues_(queues),
      log_(log),
      now_(std::move(now)),
      radio_(std::move(radio)),
      positions_(std::move(positions)),
      settings_(settings),
      table_(settings) {}

void LocationCore::setManager(const std::shared_ptr<BeaconLocationManager>& manager) {
  manager_ = manager;
  for (auto& [identifier, monitored] : monitored_) monitored.knowsFailure = false;
  toldPositionFailure_ = false;
  ranged_.clear();
  stopUpdatingLocation();
  settle();
}

bool LocationCore::isManager(const BeaconLocationManager& manager) const {
  return manager_.lock().get() == &manager;
}

void LocationCore::startMonitoring(const Region& region) {
  const auto [place, isNew] = monitored_.try_emplace(
      region->identifier, Monitored{region, RegionMonitor(settings_.exitDelay)});
  Monitored& monitored = place->second;
  const bool isAnother = monitored.region->proximityUUID != region->proximityUUID;
  if (isAnother) {
    ranged_.erase(region->identifier);
    monitored = {region, RegionMonitor(settings_.exitDelay)};
  }
  if ((isNew || isAnother) && !radioFailure_) monitored.monitor.listen(now_());
  monitored.region = region;
  answerStart(monitored);
  settle();
}

void LocationCore::requestState(const std::shared_ptr<const platform::Region>& region) {
  const auto known = monitored_.find(region->identifier);
  const auto* beacons = dynamic_cast<const BeaconRegion*>(region.get());
  const bool isMonitored = known != monitored_.end() && beacons && !isReplaced(*beacons);
  tellState(isMonitored ? known->second.monitor.state() : RegionState::kUnknown, region);
}

void LocationCore::startRanging(const std::shared_ptr<const platform::Region>& region) {
  const auto beacons = std::dynamic_pointer_cast<const BeaconRegion>(region);
  // A request that was under way when its region was replaced must not bring it back.
  if (!beacons || isReplaced(*beacons)) return;
  if (ranged_.empty()) nextResult_ = now_() + settings_.ranging.period;
  ranged_[beacons->identifier] = beacons;
  settle();
}

void LocationCore::stopRanging(const std::shared_ptr<const platform::Region>& region) {
  const auto beacons = std::dynamic_pointer_cast<const BeaconRegion>(region);
  if (!beacons || !isRanged(*beacons)) return;
  ranged_.erase(beacons->identifier);
  settle();
}

void LocationCore::startUpdatingLocation() {
  if (!std::exchange(updatesLocation_, true)) positions_->start();
  tellPositionFailure();
}

void LocationCore::stopUpdatingLocation() {
  if (std::exchange(updatesLocation_, false)) positions_->stop();
}

void LocationCore::displayTurnedOn() {
  for (const auto& [identifier, monitored] : monitored_) {
    const bool isInside = monitored.monitor.state() == RegionState::kInside;
    if (isInside && monitored.region->notifyEntryStateOnDisplay) {
      tellState(RegionState::kInside, monitored.region);
    }
  }
}

void LocationCore::beaconHeard(const IBeacon& beacon, int rssi) {
  // What still comes from a radio that has gone tells of the past.
  if (!isWanted(beacon.proximityUUID) || radioFailure_) return;
  const Moment now = now_();
  follow(now);
  if (table_.heard(beacon, rssi, now) && !std::exchange(saidTooMany_, true)) {
    log_.write("Location: more than " + std::to_string(settings_.ranging.mostBeacons) +
               " beacons in range; those longest unheard are forgotten");
  }
  for (auto& [identifier, monitored] : monitored_) {
    if (monitored.region->proximityUUID != beacon.proximityUUID) continue;
    tellChange(monitored, monitored.monitor.heard(now));
  }
  arm();
}

void LocationCore::availabilityChanged(const std::optional<std::string>& failure) {
  if (failure == radioFailure_) return;
  const bool isBack = !failure;
  radioFailure_ = failure;
  table_.clear();
  nextResult_ = now_() + settings_.ranging.period;
  for (auto& [identifier, monitored] : monitored_) {
    monitored.knowsFailure = false;
    if (!isBack) {
      tellFailure(monitored);
      tellChange(monitored, monitored.monitor.stopListening());
    } else {
      monitored.monitor.listen(now_());
      if (monitored.awaitsStart) answerStart(monitored);
    }
  }
  arm();
}

void LocationCore::positionFailureChanged(const std::optional<std::string>& failure) {
  if (failure == positionFailure_) return;
  positionFailure_ = failure;
  toldPositionFailure_ = false;
  tellPositionFailure();
}

/// A start that fails is made good when the radio is there.
void LocationCore::answerStart(Monitored& monitored) {
  monitored.awaitsStart = radioFailure_.has_value();
  if (monitored.awaitsStart) return tellFailure(monitored);
  tell([region = monitored.region](auto& delegate, const auto& manager) {
    delegate.locationManagerDidStartMonitoringForRegion(manager, region);
  });
}

void LocationCore::tellFailure(Monitored& monitored) {
  if (std::exchange(monitored.knowsFailure, true)) return;
  tell([region = monitored.region, text = *radioFailure_](auto& delegate, const auto& manager) {
    delegate.locationManagerMonitoringDidFailForRegion(manager, region, text);
  });
}

void LocationCore::tellChange(const Monitored& monitored, RegionChange change) {
  if (change == RegionChange::kNone) return;
  const Region& region = monitored.region;
  if (change == RegionChange::kEntered && region->notifyOnEntry) {
    tell([region](auto& delegate, const auto& manager) {
      delegate.locationManagerDidEnterRegion(manager, region);
    });
  } else if (change == RegionChange::kExited && region->notifyOnExit) {
    tell([region](auto& delegate, const auto& manager) {
      delegate.locationManagerDidExitRegion(manager, region);
    });
  }
  tellState(monitored.monitor.state(), region);
}

void LocationCore::tellState(RegionState state,
                             const std::shared_ptr<const platform::Region>& region) {
  tell([state, region](auto& delegate, const auto& manager) {
    delegate.locationManagerDidDetermineState(manager, state, region);
  });
}

void LocationCore::tellRanging(const Region& region, Moment now) {
  std::vector<platform::Beacon> beacons;
  for (const auto& row : table_.rows(now, &region->proximityUUID)) beacons.push_back(row.beacon);
  tell([this, region, beacons = std::move(beacons)](auto& delegate, const auto& manager) {
    if (isRanged(*region)) delegate.locationManagerDidRangeBeacons(manager, beacons, region);
  });
}

void LocationCore::tellPositionFailure() {
  if (!updatesLocation_ || !positionFailure_ || std::exchange(toldPositionFailure_, true)) return;
  tell([text = *positionFailure_](auto& delegate, const auto& manager) {
    delegate.locationManagerDidFailWithError(manager, text);
  });
}

void LocationCore::tell(Report report) {
  queues_.mainQueue().async([self = shared_from_this(), report = std::move(report)] {
    const auto manager = self->manager_.lock();
    const auto delegate = manager ? manager->delegate() : nullptr;
    if (delegate) report(*delegate, manager);
  });
}

bool LocationCore::isWanted(const platform::Uuid& proximityUUID) const {
  const auto isMonitored = [&](const auto& entry) {
    return entry.second.region->proximityUUID == proximityUUID;
  };
  const auto isRangedToo = [&](const auto& entry) {
    return entry.second->proximityUUID == proximityUUID;
  };
  return std::any_of(monitored_.begin(), monitored_.end(), isMonitored) ||
         std::any_of(ranged_.begin(), ranged_.end(), isRangedToo);
}

bool LocationCore::isReplaced(const BeaconRegion& region) const {
  const auto known = monitored_.find(region.identifier);
  return known != monitored_.end() && known->second.region->proximityUUID != region.proximityUUID;
}

bool LocationCore::isRanged(const BeaconRegion& region) const {
  const auto known = ranged_.find(region.identifier);
  return known != ranged_.end() && known->second->proximityUUID == region.proximityUUID;
}

/// Presence is a matter of one UUID; regions of several need the whole radio.
Listening LocationCore::wanted() const {
  if (!ranged_.empty()) return {Listening::Level::kFull};
  if (monitored_.empty()) return {Listening::Level::kOff};
  const platform::Uuid& uuid = monitored_.begin()->second.region->proximityUUID;
  const bool isOne = std::all_of(monitored_.begin(), monitored_.end(), [&](const auto& entry) {
    return entry.second.region->proximityUUID == uuid;
  });
  return isOne ? Listening{Listening::Level::kPresence, uuid} : Listening{Listening::Level::kFull};
}

void LocationCore::settle() {
  const Listening now = wanted();
  if (std::exchange(listening_, now) != now) radio_->listen(now);
  arm();
}

std::optional<Moment> LocationCore::due() const {
  std::optional<Moment> next;
  if (!ranged_.empty() && !radioFailure_) next = nextResult_;
  for (const auto& [identifier, monitored] : monitored_) {
    const auto other = monitored.monitor.due();
    if (other && (!next || *other < *next)) next = other;
  }
  return next;
}

/// A wake-up cannot be called back: one that comes too early does nothing but arm anew.
void LocationCore::arm() {
  const std::optional<Moment> next = due();
  if (!next || (wakeUpAt_ && *wakeUpAt_ <= *next)) return;
  wakeUpAt_ = next;
  const auto delay = std::max(*next - now_(), std::chrono::milliseconds(0));
  queues_.mainQueueAfter(delay, [self = weak_from_this(), moment = *next] {
    if (const auto core = self.lock()) core->wakeUp(moment);
  });
}

/// A wake-up that is long overdue tells that the process was stopped, or its main thread busy:
/// nothing could be heard since this last ran.
void LocationCore::follow(Moment now) {
  const auto missed = now - std::exchange(followedUntil_, now);
  if (!wakeUpAt_ || now - *wakeUpAt_ <= kLongestDelay) return;
  table_.skip(missed, now);
  for (auto& [identifier, monitored] : monitored_) monitored.monitor.skip(missed, now);
}

void LocationCore::wakeUp(Moment moment) {
  if (wakeUpAt_ != moment) return;  // An earlier one has taken its place.
  const Moment now = now_();
  follow(now);
  wakeUpAt_.reset();
  if (!ranged_.empty() && !radioFailure_ && now >= nextResult_) {
    for (const auto& [identifier, region] : ranged_) tellRanging(region, now);
    nextResult_ += settings_.ranging.period;
    // After a long sleep the seconds that were missed are not made up for.
    if (nextResult_ <= now) nextResult_ = now + settings_.ranging.period;
  }
  for (auto& [identifier, monitored] : monitored_) {
    tellChange(monitored, monitored.monitor.timePassed(now));
  }
  arm();
}

}  // namespace korvani::location
