// Which beacons of a ranging result are worth a report.
#pragma once

#include <korvani/sdk/korvani.h>

#include <vector>

namespace korvani {

/// Whether a beacon of a result is reported: the previous result lacks it, or its proximity differs
/// from the previous one and is known. A beacon is the same when UUID, major and minor are; of
/// several in `previous` the first counts.
bool isToReport(const platform::Beacon& beacon, const std::vector<RangedBeacon>& previous);

}  // namespace korvani
