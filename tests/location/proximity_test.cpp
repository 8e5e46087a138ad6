// The estimator on synthetic streams with fixed seeds, and what no stream shows.
#include <bench/location/streams.h>
#include <gtest/gtest.h>
#include <korvani/location/proximity_estimator.h>

#include <memory>

namespace korvani::location {
namespace {

using namespace std::chrono_literals;
using bench::kMeasuredPower;

class Follower {
 public:
  explicit Follower(const SignalModel& model) : estimator_(model) {}
  void heard(Moment now, int rssi) { estimator_.heard(now, rssi, kMeasuredPower); }
  int zone(Moment now) { return estimator_.estimate(now).proximity; }

 private:
  ProximityEstimator estimator_;
};

class Proximity : public testing::Test {
 protected:
  const SignalModel model_{ProximitySettings()};
};

TEST_F(Proximity, HoldsAtRest) {
  const std::pair<double, int> places[] = {{0.3, 1}, {2, 2}, {8, 3}};
  for (const auto& [metres, zone] : places) {
    for (const bench::Reception reception :
         {bench::Reception{1, 0.7}, {1, 0}, {3, 0.35}, {10, 0.7}, {10, 0}}) {
      constexpr int kRuns = 5;
      int changes = 0, right = 0;
      for (unsigned seed = 1; seed <= kRuns; ++seed) {
        const auto stream = bench::adverts(bench::rest(metres), 600, reception, seed);
        const auto zones = bench::zones(stream, 600, Follower(model_));
        changes += bench::changes(zones);
        right += static_cast<int>(std::count(zones.begin(), zones.end(), zone));
      }
      EXPECT_LT(changes, kRuns) << metres << " m, " << reception.perSecond << "/s";
      EXPECT_GT(right, kRuns * 600 * 95 / 100) << metres << " m, " << reception.perSecond << "/s";
    }
  }
}

TEST_F(Proximity, FollowsAWalkWithinFourSeconds) {
  for (const double perSecond : {3.0, 5.0, 10.0}) {
    for (unsigned seed = 1; seed <= 40; ++seed) {
      const double begins = seed % 10 / 10.0;
      const auto stream = bench::adverts(bench::walk(9, begins), 20, {perSecond, 0}, seed);
      const auto zones = bench::zones(stream, 20, Follower(model_));
      EXPECT_LE(bench::delay(zones, begins + 5, 2), 4) << perSecond << "/s, seed " << seed;
      EXPECT_LE(bench::delay(zones, begins + 8.5, 1), 4) << perSecond << "/s, seed " << seed;
    }
  }
}

TEST_F(Proximity, SteadySignals) {
  const ProximitySettings hall{.pathLossExponent = 3, .nearFrom = 12, .farFrom = 20};
  const struct {
    int rssi, power, zone;
    double metres;
    ProximitySettings settings{};
  } cases[] = {{-59, -59, 2, 1},  {-79, -59, 3, 10},     {-39, -59, 1, 0.1},
               {-75, -69, 2, 2},  {-20, -59, 1, 0.0265}, {0, -59, 0, -1},
               {127, -59, 0, -1}, {-128, -59, 0, -1},    {-59, 0, 0, -1},
               {-59, 100, 0, -1}, {21, -59, 0, -1},      {-89, -59, 1, 10, hall}};
  for (const auto& c : cases) {
    const SignalModel model(c.settings);
    ProximityEstimator estimator(model);
    for (int i = 0; i < 20; ++i) estimator.heard(Moment(i * 1s), c.rssi, c.power);
    const Distance distance = estimator.estimate(Moment(20s));
    EXPECT_EQ(distance.proximity, c.zone) << c.rssi << " " << c.power;
    EXPECT_NEAR(distance.accuracy, c.metres, std::abs(c.metres) / 20) << c.rssi << " " << c.power;
  }
}

/// The borders are at -6 and 12 dB.
TEST_F(Proximity, LeavesAZoneWithAMargin) {
  const struct {
    double pathLoss;
    int from, to;
  } cases[] = {{12.4, 2, 2}, {12.6, 2, 3}, {11.6, 3, 3}, {11.4, 3, 2},
               {-5.6, 1, 1}, {-5.4, 1, 2}, {-6.4, 2, 2}, {-6.6, 2, 1}};
  for (const auto& c : cases) EXPECT_EQ(model_.zoneAt(c.pathLoss, c.from), c.to) << c.pathLoss;
}

/// A lone signal near a border is no zone yet; what comes after may be, and so is a long wait.
TEST_F(Proximity, FirstZone) {
  ProximityEstimator clear(model_), doubtful(model_);
  clear.heard(Moment(1s), -59, kMeasuredPower);
  doubtful.heard(Moment(1s), -71, kMeasuredPower);
  EXPECT_EQ(clear.estimate(Moment(1s)).proximity, 2);
  EXPECT_EQ(doubtful.estimate(Moment(10s)).proximity, 0);
  EXPECT_EQ(doubtful.estimate(Moment(11s)).proximity, 2);
}

/// However sure the estimator was, a leap from one end of the range to the other is believed.
TEST_F(Proximity, BelievesALeap) {
  ProximityEstimator estimator(model_);
  for (int i = 0; i < 600; ++i) estimator.heard(Moment(i * 100ms), -30, kMeasuredPower);
  EXPECT_EQ(estimator.estimate(Moment(60s)).proximity, 1);
  for (int i = 600; i < 605; ++i) estimator.heard(Moment(i * 100ms), -95, kMeasuredPower);
  EXPECT_EQ(estimator.estimate(Moment(61s)).proximity, 3);
}

}  // namespace
}  // namespace korvani::location
