// A visitor's walk past beacons: who is where when, and what a radio in the visitor's hand
// receives.
#pragma once

#include <korvani/location/advertisement.h>
#include <korvani/platform/json.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace korvani::location {

/// Metres.
struct Place {
  double x = 0;
  double y = 0;
};

struct WalkBeacon {
  IBeacon beacon;
  Place place;
  std::chrono::milliseconds period{100};
};

/// As long as an iBeacon's advertising data with Flags in front.
using AdvertisingData = std::array<std::uint8_t, 30>;

struct Reception {
  AdvertisingData data{};
  int rssi = 0;
};

class Walk {
 public:
  struct Waypoint {
    std::chrono::milliseconds at{0};
    Place place;
  };

  /// In the order of the file.
  std::vector<WalkBeacon> beacons;
  /// In order of time; the first is the start, at 0. The visitor stays at the last.
  std::vector<Waypoint> path{{}};
  /// Standard deviation from one advertisement to the next, in dB.
  double noise = 4;
  /// The weakest signal that the radio still receives, in dBm.
  int sensitivity = -95;
  std::uint64_t seed = 1;

  Place placeAt(std::chrono::milliseconds moment) const;
  std::chrono::milliseconds duration() const { return path.back().at; }

  /// A beacon's advertisements are numbered from 0, one a period.
  std::chrono::milliseconds timeOf(std::size_t beacon, std::int64_t number) const;
  /// What comes of that advertisement at the visitor's place, or nothing where it is too weak. Path
  /// loss grows as in the open, by 20 dB a tenfold distance. Asked twice it is the same twice,
  /// whatever was asked between.
  std::optional<Reception> received(std::size_t beacon, std::int64_t number) const;
};

/// JSON Lines, blank lines and those that begin with # passed over:
///   {"radio": {"noise": 2, "sensitivity": -95, "seed": 7}}
///   {"beacon": {"uuid": "C0FFEE5E-…", "major": 1, "minor": 1, "x": 0, "y": 0, "power": -59,
///               "period": 0.1}}
///   {"start": {"x": -5, "y": 1}}
///   {"walk": {"x": 0, "y": 1, "pace": 1.2}}
///   {"wait": 6}
/// Metres, seconds, metres a second, dBm at one metre; docs/radio.md tells which may be left out.
/// Nothing when the file is no walk, and then `wrong` says why: "FILE:LINE: what is wrong".
std::optional<Walk> readWalk(const std::string& file, const platform::JSONSerialization& json,
                             std::string& wrong);

}  // namespace korvani::location
