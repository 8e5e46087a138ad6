// When what failed is tried again.
#pragma once

#include <korvani/qt/bluetooth/settings.h>

#include <algorithm>
#include <chrono>
#include <utility>

namespace korvani::qt::bluetooth {

/// How long to wait before each new attempt.
class Backoff {
 public:
  explicit Backoff(const Settings& settings)
      : first_(settings.firstRetry), longest_(settings.longestRetry) {}
  std::chrono::milliseconds next() { return std::exchange(next_, std::min(2 * next_, longest_)); }
  void reset() { next_ = first_; }

 private:
  std::chrono::milliseconds first_;
  std::chrono::milliseconds longest_;
  std::chrono::milliseconds next_ = first_;
};

}  // namespace korvani::qt::bluetooth
