// From ranging results to reports. The memory is the last result that was not empty; an empty one
// neither reports nor forgets.
#include <korvani/beacons/selection.h>
#include <korvani/sdk/guard.h>
#include <korvani/sdk/korvani.h>

#include <algorithm>

namespace korvani {
namespace {

bool isSameBeacon(const platform::Beacon& a, const platform::Beacon& b) {
  return a.proximityUUID == b.proximityUUID && a.major == b.major && a.minor == b.minor;
}

}  // namespace

std::vector<std::size_t> beaconsToReport(const std::vector<platform::Beacon>& current,
                                         const std::vector<platform::Beacon>& previous) {
  std::vector<std::size_t> chosen;
  for (std::size_t i = 0; i < current.size(); ++i) {
    const platform::Beacon& beacon = current[i];
    const auto last = std::find_if(previous.begin(), previous.end(), [&](const auto& earlier) {
      return isSameBeacon(earlier, beacon);
    });
    // A new beacon is chosen though its proximity is unknown; the report then comes to nothing, but
    // the asymmetry is meant.
    const bool isNew = last == previous.end();
    if (isNew ||
        (beacon.proximity != last->proximity && beacon.proximity != platform::kProximityUnknown)) {
      chosen.push_back(i);
    }
  }
  return chosen;
}

void Korvani::locationManagerDidRangeBeacons(const std::shared_ptr<platform::LocationManager>&,
                                             const std::vector<platform::Beacon>& beacons,
                                             const std::shared_ptr<const platform::Region>&) {
  if (beacons.empty()) return;
  guarded([&] {
    for (const std::size_t i : beaconsToReport(beacons, arraylastBeacons_)) {
      guarded([&] { requestAPIForBeacon(beacons[i]); });
    }
    arraylastBeacons_ = beacons;
  });
}

}  // namespace korvani
