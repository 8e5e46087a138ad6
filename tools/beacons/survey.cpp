// Regions and beacons as the location service finds them, for whatever is in the air.
#include "survey.h"

#include <algorithm>
#include <utility>

namespace korvani::beacons {

using location::Moment;
using location::RegionMonitor;
using platform::RegionState;

Survey::Survey(location::MomentSource now, const std::set<platform::Uuid>& only)
    : now_(std::move(now)), begin_(now_()), takesAll_(only.empty()), table_(settings_) {
  for (const platform::Uuid& uuid : only) {
    regions_.emplace(uuid, RegionMonitor(settings_.exitDelay)).first->second.listen(begin_);
  }
}

Snapshot Survey::look() {
  const Moment now = now_();
  Snapshot snapshot{now - begin_, failure_, {}, {}};
  for (auto& [uuid, monitor] : regions_) {
    monitor.timePassed(now);
    snapshot.regions.push_back({uuid, monitor.state()});
  }
  for (const auto& row : table_.rows(now)) {
    snapshot.beacons.push_back({row.beacon, now - row.lastHeard});
  }
  return snapshot;
}

void Survey::beaconHeard(const location::IBeacon& beacon, int rssi) {
  if (failure_) return;
  RegionMonitor* const region = regionOf(beacon.proximityUUID);
  if (!region) return;
  const Moment now = now_();
  region->heard(now);
  table_.heard(beacon, rssi, now);
}

void Survey::availabilityChanged(const std::optional<std::string>& failure) {
  if (std::exchange(failure_, failure) == failure) return;
  table_.clear();
  for (auto& [uuid, monitor] : regions_) {
    failure ? static_cast<void>(monitor.stopListening()) : monitor.listen(now_());
  }
}

RegionMonitor* Survey::regionOf(const platform::Uuid& proximityUUID) {
  const auto known = regions_.find(proximityUUID);
  if (known != regions_.end()) return &known->second;
  if (!takesAll_) return nullptr;
  if (regions_.size() >= kMostRegions) {
    std::erase_if(regions_,
                  [](const auto& entry) { return entry.second.state() == RegionState::kOutside; });
  }
  if (regions_.size() >= kMostRegions) return nullptr;
  return &regions_.emplace(proximityUUID, RegionMonitor(settings_.exitDelay)).first->second;
}

}  // namespace korvani::beacons
