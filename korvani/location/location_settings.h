// The figures of the location service. docs/radio.md says where they come from.
#pragma once

#include <chrono>
#include <cstddef>

namespace korvani::location {

/// From signal strength to distance and zone. Path loss, in dB, is measured power less RSSI.
/// Exponent, borders and noise are above 0: without them there is no distance.
struct ProximitySettings {
  /// Path loss grows by 10 times this a tenfold distance: 2 in the open, 3 and more indoors.
  double pathLossExponent = 2;
  /// Metres: immediate below the first, near below the second, far beyond.
  double nearFrom = 0.5;
  double farFrom = 4;
  /// A zone is left when the estimate is this far past its border. dB.
  double margin = 0.5;

  /// What the estimator believes of a signal at rest: noise, and a share of advertisements that
  /// fading weakens. dB.
  double noise = 4;
  double dipDepth = 12;
  double dipShare = 0.08;

  /// What it believes of movement: so often a second the path loss goes to somewhere within
  /// `moveReach` dB of what it was. A longer silence than `longestMove` counts as that long, so
  /// that a slow beacon is judged by as many advertisements as a fast one.
  double moveRate = 0.5;
  int moveReach = 4;
  std::chrono::milliseconds longestMove{333};

  /// The first zone is told once it is so likely, or after so long.
  double certainty = 0.85;
  std::chrono::milliseconds patience{10000};
};

struct RangingSettings {
  /// Above 0.
  std::chrono::milliseconds period{1000};
  /// A beacon unheard stays listed as it was for so long: a controller may report it once in
  /// 10.24 s. Then it is listed as unknown, and at last forgotten.
  std::chrono::milliseconds heldFor{11000};
  std::chrono::milliseconds forgottenAfter{15000};
  std::size_t mostBeacons = 1000;
};

struct LocationSettings {
  ProximitySettings proximity;
  RangingSettings ranging;
  /// A region is left when none of its beacons was heard for so long.
  std::chrono::milliseconds exitDelay{30000};
};

}  // namespace korvani::location
