// The draws.
#include "plan.h"

#include <algorithm>
#include <cstdint>
#include <map>

namespace korvani::fleet {
namespace {

using namespace std::chrono_literals;

double uniform(Random& random) { return std::uniform_real_distribution<double>()(random); }
double normal(Random& random) { return std::normal_distribution<double>()(random); }

int poisson(double mean, Random& random) {
  return mean > 0 ? std::poisson_distribution<int>(mean)(random) : 0;
}

milliseconds minutes(double count) {
  return milliseconds(static_cast<std::int64_t>(count * 60'000.0));
}

/// A third each: on the way to work, on the way home, and at any time while shops are open.
milliseconds drawArrival(Random& random) {
  const double part = 3 * uniform(random);
  if (part < 1) return 8h + 15min + minutes(45 * normal(random));
  if (part < 2) return 17h + 45min + minutes(60 * normal(random));
  return 9h + minutes(12 * 60 * uniform(random));
}

int neighbourOf(int zone, Random& random) {
  if (zone != platform::kProximityNear) return platform::kProximityNear;
  return happens(50, random) ? platform::kProximityImmediate : platform::kProximityFar;
}

/// The first beacon is there on arrival, each other at some moment of the visit, far away at first;
/// all stay to the end, when they become unknown. A result comes each second.
Visit drawVisit(const Habits& habits, milliseconds arrival, std::uint16_t place, Random& random) {
  const milliseconds stay =
      minutes(1 + (habits.stay - 1) * std::exponential_distribution<double>()(random));
  const double seconds = static_cast<double>(stay / 1s);
  struct Sight {
    std::uint16_t minor;
    int zone;
  };
  std::multimap<milliseconds, Sight> sights;
  const int beacons = 1 + poisson(habits.beacons - 1, random);
  for (int minor = 1; minor <= beacons; ++minor) {
    const double first = minor == 1 ? 0 : uniform(random);
    std::vector<double> moments(1 + static_cast<std::size_t>(poisson(habits.changes, random)),
                                first);
    std::for_each(moments.begin() + 1, moments.end(),
                  [&](double& moment) { moment += (1 - first) * uniform(random); });
    std::sort(moments.begin(), moments.end());
    int zone = platform::kProximityFar;
    for (const double moment : moments) {
      const auto second = std::chrono::seconds(static_cast<std::int64_t>(moment * seconds));
      sights.insert({second, {static_cast<std::uint16_t>(minor), zone}});
      zone = neighbourOf(zone, random);
    }
  }

  Visit visit{arrival, arrival + stay, {}};
  std::map<std::uint16_t, int> inView;
  const auto range = [&](milliseconds at) {
    visit.rangings.push_back({at, {}});
    for (const auto& [minor, zone] : inView) {
      visit.rangings.back().beacons.push_back({{}, place, minor, zone});
    }
  };
  for (auto sight = sights.begin(); sight != sights.end();) {
    const milliseconds at = sight->first;
    for (; sight != sights.end() && sight->first == at; ++sight) {
      inView.insert_or_assign(sight->second.minor, sight->second.zone);
    }
    range(arrival + at);
  }
  for (auto& [minor, zone] : inView) zone = platform::kProximityUnknown;
  range(visit.departure);
  return visit;
}

}  // namespace

Random randomOf(const Habits& habits, std::size_t phone) {
  std::seed_seq seeds{habits.seed & 0xffffffffU, habits.seed >> 32U,
                      static_cast<std::uint64_t>(phone)};
  return Random(seeds);
}

bool happens(double percent, Random& random) { return 100 * uniform(random) < percent; }

Plan drawPlan(const Habits& habits, std::size_t phone, Random& random) {
  constexpr std::uint16_t kStation = 1;
  std::uniform_int_distribution<std::uint16_t> places(kStation + 1);
  Plan plan;
  milliseconds free{0};  // From when on the phone can be elsewhere.
  for (int day = 0; day < habits.days; ++day) {
    const milliseconds midnight = day * kDay;
    const std::size_t before = plan.visits.size();
    const auto visit = [&](milliseconds arrival, std::uint16_t place) {
      plan.visits.push_back(drawVisit(habits, std::max(arrival, free), place, random));
      free = plan.visits.back().departure + 1min;
    };
    milliseconds start = midnight + 7h + minutes(habits.spread * normal(random));
    std::vector<milliseconds> arrivals(static_cast<std::size_t>(poisson(habits.visits, random)));
    for (milliseconds& arrival : arrivals) arrival = midnight + drawArrival(random);
    std::sort(arrivals.begin(), arrivals.end());
    if (phone < habits.train) visit(midnight + kTrainArrives + minutes(uniform(random)), kStation);
    for (const milliseconds arrival : arrivals) visit(arrival, places(random));
    if (plan.visits.size() > before) start = std::min(start, plan.visits[before].arrival - 1min);
    plan.starts.push_back(std::clamp<milliseconds>(start, midnight, midnight + kDay - 1s));
  }
  return plan;
}

}  // namespace korvani::fleet
