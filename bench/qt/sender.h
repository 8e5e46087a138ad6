// The daemon's side of the measurement, in a process of its own.
#pragma once

#include <korvani/platform/uuid.h>

namespace korvani::bench {

inline constexpr int kBeacons = 100;
inline constexpr double kPerSecond = 2000;

platform::Uuid ourUuid();

/// Runs until standard input ends. With the argument --monitors it offers monitors. A line
/// "advertise N", "other N" or "rotate N" asks for N advertisements: of the beacons in turn, of as
/// many with another UUID, or each of a new address and a new major and minor, faster than real
/// ones; "appear N" has as many devices appear. A line on standard output says when all is on its
/// way.
int runSender();

}  // namespace korvani::bench
