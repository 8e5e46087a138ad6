// The proximity estimator beside two filters in wide use, on the same streams: how often the zone
// changes at rest, how long it is wrong, how late it follows a walk.
#include <bench/figure.h>
#include <bench/location/streams.h>
#include <korvani/location/proximity_estimator.h>

#include <array>
#include <cstdio>
#include <deque>
#include <memory>
#include <string>

namespace korvani::bench {
namespace {

using location::Moment;
using namespace std::chrono_literals;

class Filter {
 public:
  virtual ~Filter() = default;
  virtual void heard(Moment now, int rssi) = 0;
  virtual int zone(Moment now) = 0;
};

const location::SignalModel& model() {
  static const location::SignalModel model{location::ProximitySettings()};
  return model;
}

int plainZone(double rssi) { return model().zoneAt(kMeasuredPower - rssi, 0); }

class Estimator final : public Filter {
 public:
  void heard(Moment now, int rssi) override { estimator_.heard(now, rssi, kMeasuredPower); }
  int zone(Moment now) override { return estimator_.estimate(now).proximity; }

 private:
  location::ProximityEstimator estimator_{model()};
};

/// The mean of the last 20 s without the outer tenths.
class TrimmedMean final : public Filter {
 public:
  void heard(Moment now, int rssi) override { window_.push_back({now, rssi}); }
  int zone(Moment now) override {
    while (!window_.empty() && now - window_.front().at > 20s) window_.pop_front();
    if (window_.empty()) return 0;
    std::vector<int> sorted;
    for (const Advert& advert : window_) sorted.push_back(advert.rssi);
    std::sort(sorted.begin(), sorted.end());
    const std::size_t tenth = sorted.size() / 10;
    double sum = 0;
    for (std::size_t i = tenth; i < sorted.size() - tenth; ++i) sum += sorted[i];
    return plainZone(sum / static_cast<double>(sorted.size() - 2 * tenth));
  }

 private:
  std::deque<Advert> window_;
};

/// A tenth of the difference at each advertisement, in whole dB.
class Recursive final : public Filter {
 public:
  void heard(Moment, int rssi) override {
    level_ = level_ == 0 ? rssi : level_ + (rssi - level_) / 10;
  }
  int zone(Moment) override { return level_ == 0 ? 0 : plainZone(level_); }

 private:
  int level_ = 0;
};

/// What the location service adds to any of them: unknown after 11 s unheard, begun anew after 15
/// s.
template <typename T>
class Listed {
 public:
  void heard(Moment now, int rssi) {
    if (now - lastHeard_ > 15s) filter_ = T();
    lastHeard_ = now;
    filter_.heard(now, rssi);
  }
  int zone(Moment now) { return now - lastHeard_ > 11s ? 0 : filter_.zone(now); }

 private:
  T filter_;
  Moment lastHeard_{-1h};
};

struct Figures {
  double changesPerTenMinutes = 0;
  double wrongPercent = 0;
  /// In order.
  std::vector<double> delays;

  long late() const { return delays.end() - std::upper_bound(delays.begin(), delays.end(), 4.0); }
};

/// Of the estimator, the trimmed mean and the recursive filter on one stream.
using Row = std::array<Figures, 3>;

constexpr int kWalks = 1000;

template <typename T>
Figures atRest(double metres, Reception reception) {
  constexpr int kRuns = 60, kSeconds = 600;
  Figures figures;
  const int truth = plainZone(kMeasuredPower - 20 * std::log10(metres));
  for (unsigned seed = 1; seed <= kRuns; ++seed) {
    const auto told =
        zones(adverts(rest(metres), kSeconds, reception, seed), kSeconds, Listed<T>());
    figures.changesPerTenMinutes += changes(told) / double{kRuns};
    const auto right = std::count(told.begin(), told.end(), truth);
    figures.wrongPercent += 100 * (1 - static_cast<double>(right) / kSeconds) / kRuns;
  }
  return figures;
}

/// From 9 m to 0.2 m at 1 m/s, begun at any fraction of a second. The zone is `zone` from `border`
/// on.
template <typename T>
Figures onWalk(double border, int zone, Reception reception) {
  constexpr int kSeconds = 40;
  Figures figures;
  for (unsigned seed = 1; seed <= kWalks; ++seed) {
    const double begins = 5 + (seed % 10) / 10.0;
    const Path path = walk(9, begins);
    const auto told = zones(adverts(path, kSeconds, reception, seed), kSeconds, Listed<T>());
    figures.delays.push_back(delay(told, begins + 9 - border, zone));
    const int walked = 20;
    for (int i = 0; i < walked; ++i) {
      const int truth = plainZone(kMeasuredPower - 20 * std::log10(path(i + 1)));
      figures.wrongPercent +=
          told[static_cast<std::size_t>(i)] == truth ? 0 : 100.0 / walked / kWalks;
    }
  }
  std::sort(figures.delays.begin(), figures.delays.end());
  return figures;
}

Row printAtRest(double metres, Reception reception) {
  const Row row{atRest<Estimator>(metres, reception), atRest<TrimmedMean>(metres, reception),
                atRest<Recursive>(metres, reception)};
  std::printf("rest  %3.1f m  %4.1f/s %3.0f %%", metres, reception.perSecond, 100 * reception.lost);
  for (const Figures& f : row) {
    std::printf(" | %7.2f %7.1f %%       ", f.changesPerTenMinutes, f.wrongPercent);
  }
  std::printf("\n");
  return row;
}

Row printOnWalk(double border, int zone, Reception reception) {
  const Row row{onWalk<Estimator>(border, zone, reception),
                onWalk<TrimmedMean>(border, zone, reception),
                onWalk<Recursive>(border, zone, reception)};
  std::printf("walk  %3.1f m  %4.1f/s %3.0f %%", border, reception.perSecond, 100 * reception.lost);
  for (const Figures& f : row) {
    std::printf(" | %4.1f %4.1f %4ld %5.1f %%", f.delays[f.delays.size() / 2],
                f.delays[f.delays.size() * 99 / 100], f.late(), f.wrongPercent);
  }
  std::printf("\n");
  return row;
}

/// By filter, as in a row.
void printGoal(const std::string& what, const std::array<double, 3>& values,
               const std::string& unit, const std::string& goal, bool isReached) {
  const auto shown = [&](std::size_t filter) { return text(values[filter], unit, 2); };
  print({what, shown(0), "trimmed mean: " + shown(1) + ", recursive: " + shown(2), "", goal,
         isReached});
}

void printAll() {
  std::printf(
      "Results once a second. Rest: changes of zone in 10 minutes, time not in the true zone (60 "
      "runs).\nWalk: delay in s at the border, median and 99th percentile; walks of 1,000 later "
      "than 4 s; time not in\nthe true zone.\n\n"
      "                             | estimator               | trimmed mean of 20 s    "
      "| recursive, 0.1 in whole dB\n");
  std::array<double, 3> changes{}, late{};
  for (const double metres : {0.3, 2.0, 8.0}) {
    for (const double perSecond : {1.0, 3.0, 10.0}) {
      for (const double lost : {0.0, 0.35, 0.7}) {
        const Row row = printAtRest(metres, {perSecond, lost});
        for (std::size_t i = 0; i < row.size(); ++i) {
          changes[i] = std::max(changes[i], row[i].changesPerTenMinutes);
        }
      }
    }
  }
  constexpr Reception kReceptions[] = {{3, 0}, {5, 0}, {10, 0}, {10, 0.6}};
  for (const Reception reception : kReceptions) {
    for (const Row& row : {printOnWalk(4, 2, reception), printOnWalk(0.5, 1, reception)}) {
      // With losses a second may pass with fewer than three.
      if (reception.lost > 0) continue;
      for (std::size_t i = 0; i < row.size(); ++i) late[i] += static_cast<double>(row[i].late());
    }
  }
  printGoal("changes of zone at rest in 10 minutes, in the worst stream", changes, "", "under 1",
            changes[0] < 1);
  printGoal("borders of 6,000, with 3 signals a second or more, that were followed later than 4 s",
            late, "", "none", late[0] == 0);
}

}  // namespace
}  // namespace korvani::bench

int main() { korvani::bench::printAll(); }
