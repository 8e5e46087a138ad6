// Whether what a process holds grows while it lives.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

namespace korvani::bench {

/// The line by least squares through samples taken at equal distances, without the first tenth of
/// them, in which caches fill.
struct Trend {
  explicit Trend(const std::vector<double>& all) {
    const auto first = static_cast<std::ptrdiff_t>(all.size() / 10);
    const std::vector<double> rest(all.begin() + first, all.end());
    const auto count = static_cast<double>(rest.size());
    const double middle = (count - 1) / 2;
    double mean = 0;
    for (const double value : rest) mean += value / count;
    double slope = 0;
    double below = 0;
    for (std::size_t i = 0; i < rest.size(); ++i) {
      const double x = static_cast<double>(i) - middle;
      slope += x * (rest[i] - mean);
      below += x * x;
    }
    slope /= below;
    double squares = 0;
    for (std::size_t i = 0; i < rest.size(); ++i) {
      const double expected = mean + slope * (static_cast<double>(i) - middle);
      squares += std::pow(rest[i] - expected, 2);
    }
    growth = slope * count;
    noise = std::sqrt(squares / count);
  }
  /// So little may be one thing more or less at the end.
  bool isFlat(double little) const { return growth < std::max(2 * noise, little); }

  /// Over all these samples, and how far they lie from the line.
  double growth = 0;
  double noise = 0;
};

}  // namespace korvani::bench
