// Which manager and which region a report of the simulated location service names.
#pragma once

#include <korvani/platform/uuid.h>

#include <cstddef>
#include <optional>

namespace korvani::simulator {

struct LocationEventSource {
  /// In order of creation, from 1; the latest when left out.
  std::optional<std::size_t> manager = std::nullopt;
  /// The region's proximity UUID; the region last started when left out.
  std::optional<platform::Uuid> proximityUUID = std::nullopt;
  /// False: a region of another kind, which is no beacon region.
  bool beaconRegion = true;
};

}  // namespace korvani::simulator
