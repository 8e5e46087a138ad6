// Which beacons of a ranging result are worth a report.
#pragma once

#include <korvani/platform/location_manager.h>

#include <cstddef>
#include <vector>

namespace korvani {

/// The indexes in `current`, in order, of the beacons to report: those that `previous` lacks, and
/// those whose proximity differs from the previous one and is known. A beacon is the same when
/// UUID, major and minor are; of several in `previous` the first counts.
std::vector<std::size_t> beaconsToReport(const std::vector<platform::Beacon>& current,
                                         const std::vector<platform::Beacon>& previous);

}  // namespace korvani
