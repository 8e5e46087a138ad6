// What a phone meets: how its days are drawn. docs/scale.md tells the distribution.
#pragma once

#include <korvani/platform/location_manager.h>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

namespace korvani::fleet {

using std::chrono::milliseconds;
using Random = std::mt19937_64;

constexpr std::chrono::hours kDay{24};
constexpr milliseconds kTrainArrives = std::chrono::hours(8) + std::chrono::minutes(12);

struct Habits {
  std::uint64_t seed = 1;
  std::size_t phones = 1000;
  int days = 1;
  /// Means: visits a day, minutes of a visit, beacons of a visit, changes of a beacon's zone.
  double visits = 3;
  double stay = 20;
  double beacons = 3;
  double changes = 2;
  /// Minutes that the starts of the hosts lie around 07:00 (a standard deviation).
  double spread = 45;
  /// Shares in percent: of reports that get a scenario, of notifications that are opened, of phones
  /// that the service has disabled.
  double scenarios = 30;
  double opened = 20;
  double disabled = 0;
  /// The first so many phones arrive at one place in the minute of the train, each day.
  std::size_t train = 0;
};

/// From here on the phone hears these beacons, in these zones.
struct Ranging {
  milliseconds at;
  std::vector<platform::Beacon> beacons;
};
struct Visit {
  milliseconds arrival;
  milliseconds departure;
  /// Only those that differ from the one before: the kit does nothing with an equal one.
  std::vector<Ranging> rangings;
};
/// Moments count from the midnight before the first day.
struct Plan {
  std::vector<milliseconds> starts;
  std::vector<Visit> visits;
};

/// The same for the same habits and number; `random` goes on with what is drawn later.
Plan drawPlan(const Habits& habits, std::size_t phone, Random& random);
Random randomOf(const Habits& habits, std::size_t phone);
/// Draws with a chance in percent.
bool happens(double percent, Random& random);

}  // namespace korvani::fleet
