// The states of one region.
#include <korvani/location/region_monitor.h>

#include <algorithm>
#include <utility>

namespace korvani::location {

using platform::RegionState;

void RegionMonitor::listen(Moment now) { silentSince_ = now; }

RegionChange RegionMonitor::stopListening() {
  silentSince_.reset();
  const bool wasKnown = std::exchange(state_, RegionState::kUnknown) != RegionState::kUnknown;
  return wasKnown ? RegionChange::kDetermined : RegionChange::kNone;
}

RegionChange RegionMonitor::heard(Moment now) {
  silentSince_ = now;
  switch (std::exchange(state_, RegionState::kInside)) {
    case RegionState::kInside:
      return RegionChange::kNone;
    case RegionState::kOutside:
      return RegionChange::kEntered;
    case RegionState::kUnknown:
      break;
  }
  return RegionChange::kDetermined;
}

RegionChange RegionMonitor::timePassed(Moment now) {
  const auto end = due();
  if (!end || now < *end) return RegionChange::kNone;
  const bool wasInside = std::exchange(state_, RegionState::kOutside) == RegionState::kInside;
  return wasInside ? RegionChange::kExited : RegionChange::kDetermined;
}

void RegionMonitor::skip(std::chrono::milliseconds missed, Moment now) {
  if (silentSince_) silentSince_ = std::min(*silentSince_ + missed, now);
}

std::optional<Moment> RegionMonitor::due() const {
  if (!silentSince_ || state_ == RegionState::kOutside) return std::nullopt;
  return *silentSince_ + exitDelay_;
}

}  // namespace korvani::location
