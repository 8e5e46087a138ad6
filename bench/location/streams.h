// Synthetic streams of advertisements, the same for the bench and the tests: exponent 2, noise of
// 4 dB from one advertisement to the next, dips of 12 dB in 3 % of them, losses.
#pragma once

#include <korvani/location/moment.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <functional>
#include <random>
#include <vector>

namespace korvani::bench {

inline constexpr int kMeasuredPower = -59;

struct Advert {
  location::Moment at;
  int rssi;
};

/// How often a beacon sends, and the share that is not received.
struct Reception {
  double perSecond;
  double lost;
};

/// Metres, by the seconds since the beginning.
using Path = std::function<double(double)>;

inline Path rest(double metres) {
  return [metres](double) { return metres; };
}

/// Towards the beacon at 1 m/s from that second on, until 0.2 m.
inline Path walk(double from, double begins) {
  return [=](double second) { return std::max(0.2, from - std::max(0.0, second - begins)); };
}

inline std::vector<Advert> adverts(const Path& path, double seconds, Reception reception,
                                   unsigned seed) {
  std::mt19937 random(seed);
  std::normal_distribution<double> noise(0, 4);
  std::uniform_real_distribution<double> share(0, 1);
  std::vector<Advert> stream;
  for (double at = share(random) / reception.perSecond; at < seconds;
       at += 1 / reception.perSecond) {
    const double dip = share(random) < 0.03 ? 12 : 0;
    const double rssi = kMeasuredPower - 20 * std::log10(path(at)) + noise(random) - dip;
    if (share(random) < reception.lost) continue;
    const std::chrono::milliseconds moment(std::lround(at * 1000));
    stream.push_back({location::Moment(moment), static_cast<int>(std::lround(rssi))});
  }
  return stream;
}

/// The zone at each full second, from the first on.
template <typename Filter>
std::vector<int> zones(const std::vector<Advert>& stream, int seconds, Filter&& filter) {
  std::vector<int> zones;
  auto next = stream.begin();
  for (int second = 1; second <= seconds; ++second) {
    const location::Moment now{std::chrono::seconds(second)};
    for (; next != stream.end() && next->at <= now; ++next) filter.heard(next->at, next->rssi);
    zones.push_back(filter.zone(now));
  }
  return zones;
}

/// Between known zones: 0 is not known.
inline int changes(const std::vector<int>& zones) {
  int count = 0, last = 0;
  for (const int zone : zones) {
    if (zone != 0 && last != 0 && zone != last) ++count;
    if (zone != 0) last = zone;
  }
  return count;
}

/// Seconds from the crossing of a border to the first result on the far side of it, `zone` or
/// nearer.
inline double delay(const std::vector<int>& zones, double crossing, int zone) {
  for (std::size_t i = 0; i < zones.size(); ++i) {
    const double second = static_cast<double>(i + 1);
    if (second >= crossing && zones[i] != 0 && zones[i] <= zone) return second - crossing;
  }
  return static_cast<double>(zones.size());
}

}  // namespace korvani::bench
