// The figures of the Bluetooth radio, each with where it comes from.
#pragma once

#include <chrono>
#include <cstddef>

namespace korvani::qt::bluetooth {

/// All times are above 0.
struct Settings {
  /// What is wanted is looked at so long after a change of it. Monitoring and ranging start one by
  /// one, in turns of the event loop of their own, and ask for one thing together.
  std::chrono::milliseconds decidesAfter{5};
  /// The duty cycle of presence. A beacon of one signal a second has four of them in each sweep,
  /// and the 30 s after which a region counts as left hold three sweeps. In the pauses bonded mice
  /// and keyboards find their way back.
  std::chrono::milliseconds sweep{4000};
  std::chrono::milliseconds pause{5000};
  /// A monitor tells that a beacon has come and little of those that stay, so sweeps go on beside
  /// it until the beacon was unheard this long: the 30 s of a region's exit, and a sweep and a
  /// half.
  std::chrono::milliseconds followedFor{45000};
  /// The daemon activates a monitor at once or, on a busy controller, within a second or two.
  std::chrono::milliseconds activationWithin{5000};
  /// Discovery can die without a word. Not even an empty room is silent this long where a neighbour
  /// has a phone, and where nobody has, a new start costs nothing.
  std::chrono::milliseconds stallAfter{90000};
  /// What is refused is tried again after the first of these, then after twice as long each time:
  /// soon enough for a user who waits, seldom enough to leave a daemon in trouble alone.
  std::chrono::milliseconds firstRetry{1000};
  std::chrono::milliseconds longestRetry{60000};
  /// A failure is told when it has stood this long: a daemon that starts shows its adapters one by
  /// one, and a laptop that wakes plugs its adapter out and in within a second.
  std::chrono::milliseconds failureStandsFor{1000};
  /// Of more devices than ranging lists beacons nothing is remembered.
  std::size_t mostDevices = 1000;
};

}  // namespace korvani::qt::bluetooth
