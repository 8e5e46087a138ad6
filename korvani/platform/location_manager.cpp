// Anchors the region types: a region's class is asked for across library borders.
#include <korvani/platform/location_manager.h>

namespace korvani::platform {

Region::~Region() = default;
BeaconRegion::~BeaconRegion() = default;

}  // namespace korvani::platform
