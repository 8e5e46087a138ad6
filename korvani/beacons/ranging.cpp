// From ranging results to reports. The memory is the last result that was not empty; an empty one
// neither reports nor forgets.
#include <korvani/beacons/selection.h>
#include <korvani/sdk/guard.h>
#include <korvani/sdk/korvani.h>

#include <algorithm>

namespace korvani {
namespace {

/// The minor comes first, as most beacons of a region differ in it alone.
bool isSameBeacon(const RangedBeacon& a, const platform::Beacon& b) {
  return a.minor == b.minor && a.major == b.major && a.proximityUUID == b.proximityUUID;
}

}  // namespace

bool isToReport(const platform::Beacon& beacon, const std::vector<RangedBeacon>& previous) {
  const auto last =
      std::find_if(previous.begin(), previous.end(),
                   [&](const RangedBeacon& earlier) { return isSameBeacon(earlier, beacon); });
  // A new beacon is chosen though its proximity is unknown: its report comes to nothing.
  if (last == previous.end()) return true;
  return beacon.proximity != last->proximity && beacon.proximity != platform::kProximityUnknown;
}

void Korvani::locationManagerDidRangeBeacons(const std::shared_ptr<platform::LocationManager>&,
                                             const std::vector<platform::Beacon>& beacons,
                                             const std::shared_ptr<const platform::Region>&) {
  if (beacons.empty()) return;
  guarded([&] {
    for (const platform::Beacon& beacon : beacons) {
      if (isToReport(beacon, arraylastBeacons_)) guarded([&] { requestAPIForBeacon(beacon); });
    }
    arraylastBeacons_.clear();
    arraylastBeacons_.insert(arraylastBeacons_.end(), beacons.begin(), beacons.end());
  });
}

}  // namespace korvani
