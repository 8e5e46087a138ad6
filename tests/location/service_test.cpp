// The location service on the simulated phone's clock: timelines of what happens and what the
// delegate hears. Requests come from background queues, as the kit makes them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvani/location/beacon_location_manager.h>
#include <korvani/location/beacon_table.h>
#include <korvani/simulator/simulated_phone.h>

#include <sstream>
#include <string>
#include <vector>

namespace korvani::location {
namespace {

using namespace std::chrono_literals;
using platform::BeaconRegion;
using platform::LocationManager;
using platform::RegionState;
using testing::ElementsAre;
using testing::ElementsAreArray;

platform::Uuid uuid(char name) {
  platform::Uuid::Bytes bytes{};
  bytes[15] = static_cast<std::uint8_t>(name);
  return platform::Uuid(bytes);
}

struct FakeRadio final : AdvertisementSource {
  void setListener(std::weak_ptr<AdvertisementListener> told) override { listener = told; }
  void listen(const Listening& wanted) override {
    const char* const levels[] = {"off", "presence", "full"};
    asked.push_back(levels[static_cast<int>(wanted.level)]);
    if (wanted.level == Listening::Level::kPresence) presenceOf = wanted.presenceOf;
  }
  std::weak_ptr<AdvertisementListener> listener;
  std::vector<std::string> asked;
  platform::Uuid presenceOf;
};

struct FakePositions final : PositionSource {
  void setListener(std::weak_ptr<PositionListener> told) override { listener = told; }
  void start() override { asked.push_back("start"); }
  void stop() override { asked.push_back("stop"); }
  std::optional<platform::Coordinate> lastCoordinate() const override { return {{48.5, 2.25}}; }
  void requestAlwaysAuthorization() override { asked.push_back("authorize"); }
  std::weak_ptr<PositionListener> listener;
  std::vector<std::string> asked;
};

/// Counts the wake-ups that were asked for.
struct CountingQueues final : platform::Queues {
  explicit CountingQueues(platform::Queues& theQueues) : queues(theQueues) {}
  platform::Queue& mainQueue() override { return queues.mainQueue(); }
  void mainQueueAfter(std::chrono::milliseconds delay, platform::Job job) override {
    ++wakeUps;
    queues.mainQueueAfter(delay, std::move(job));
  }
  platform::Queue& globalQueue(platform::QueuePriority p) override { return queues.globalQueue(p); }
  std::shared_ptr<platform::Queue> newOperationQueue() override {
    return queues.newOperationQueue();
  }
  platform::Queues& queues;
  int wakeUps = 0;
};

/// A phone with our location service, played by steps. What its delegate hears is one text each,
/// the seconds first: "30 exit A".
class Stage final : public platform::LocationManagerDelegate {
 public:
  explicit Stage(const LocationSettings& settings = {})
      : service_(
            queues_, phone_.log(), [this] { return Moment(phone_.elapsed() + slept_); }, radio_,
            positions_, settings) {
    startManager();
  }

  /// Steps are "SECONDS WORD ARGUMENT..."; all that is due at a step's moment is done before it.
  std::vector<std::string> play(const std::vector<std::string>& steps) {
    for (const std::string& step : steps) {
      std::istringstream words(step);
      double at = 0;
      std::string word;
      words >> at >> word;
      phone_.advance(std::chrono::milliseconds(std::lround(at * 1000)) - phone_.elapsed());
      act(word, words);
      phone_.advance(0ms);
    }
    return std::exchange(heard_, {});
  }

  simulator::SimulatedPhone phone_;
  CountingQueues queues_{phone_.queues()};
  const std::shared_ptr<FakeRadio> radio_ = std::make_shared<FakeRadio>();
  const std::shared_ptr<FakePositions> positions_ = std::make_shared<FakePositions>();
  std::shared_ptr<LocationManager> manager_, earlier_;
  /// A host may start anew at any moment, from inside a callback too.
  bool startsAnewWhenTold_ = false;

 private:
  using Manager = std::shared_ptr<LocationManager>;
  using Region = std::shared_ptr<const platform::Region>;

  void act(const std::string& word, std::istringstream& words) {
    char name = 'A';
    if (word == "hear") {
      int minor = 0, rssi = -59, power = -59;
      words >> name >> minor >> rssi >> power;
      const IBeacon beacon{uuid(name), 1, static_cast<std::uint16_t>(minor),
                           static_cast<std::int8_t>(power)};
      return radio_->listener.lock()->beaconHeard(beacon, rssi);
    }
    if (word == "radio") {
      std::string failure;
      words >> failure;
      return radio_->listener.lock()->availabilityChanged(failure == "on" ? std::nullopt
                                                                          : std::optional(failure));
    }
    if (word == "display") return service_.displayTurnedOn();
    if (word == "takeover") return startManager();
    if (word == "leave") return manager_->setDelegate({});
    if (word == "sleep") return static_cast<void>(slept_ = 1h);
    if (word == "until") return;
    words >> name;
    ask(word, std::make_shared<BeaconRegion>(regionOf(name)));
  }

  /// Regions of lower-case names tell no crossings. X and a stand under the identifier of A; a is
  /// the same region.
  static BeaconRegion regionOf(char name) {
    const bool isA = name == 'X' || name == 'a';
    BeaconRegion region(uuid(name == 'a' ? 'A' : name), isA ? "A" : std::string(1, name));
    region.notifyOnEntry = region.notifyOnExit = name < 'a';
    region.notifyEntryStateOnDisplay = name == 'A';
    return region;
  }

  void ask(const std::string& word, const std::shared_ptr<const BeaconRegion>& region) {
    const auto asked = word == "late" ? earlier_ : manager_;
    phone_.queues().newOperationQueue()->async([word, region, manager = asked] {
      if (word == "monitor") manager->startMonitoringForRegion(region);
      if (word == "state") manager->requestStateForRegion(region);
      if (word == "range" || word == "late") manager->startRangingBeaconsInRegion(region);
      if (word == "stop") manager->stopRangingBeaconsInRegion(region);
    });
  }

  void startManager() {
    earlier_ = manager_;
    manager_ = service_.newLocationManager();
    manager_->setDelegate(delegate_);
  }

  void note(const std::string& what, const Manager& manager, const Region& region) {
    EXPECT_EQ(manager, manager_);
    std::ostringstream line;
    line << static_cast<double>(phone_.elapsed().count()) / 1000 << " " << what;
    if (const auto* beacons = dynamic_cast<const BeaconRegion*>(region.get())) {
      line << " " << static_cast<char>(beacons->proximityUUID.bytes()[15]);
    }
    heard_.push_back(line.str());
    if (startsAnewWhenTold_) startManager();
  }

  void locationManagerDidStartMonitoringForRegion(const Manager& m, const Region& r) override {
    note("started", m, r);
  }
  void locationManagerDidEnterRegion(const Manager& m, const Region& r) override {
    note("entry", m, r);
  }
  void locationManagerDidExitRegion(const Manager& m, const Region& r) override {
    note("exit", m, r);
  }
  void locationManagerDidDetermineState(const Manager& m, RegionState state,
                                        const Region& r) override {
    note("state " + std::to_string(static_cast<int>(state)), m, r);
  }
  void locationManagerDidRangeBeacons(const Manager& m,
                                      const std::vector<platform::Beacon>& beacons,
                                      const Region& r) override {
    std::ostringstream text;
    text << "ranged";
    for (const platform::Beacon& beacon : beacons) {
      text << " " << beacon.minor << ":" << beacon.proximity;
      EXPECT_EQ(beacon.proximity == 0, beacon.accuracy < 0);
    }
    note(text.str(), m, r);
  }
  void locationManagerMonitoringDidFailForRegion(const Manager& m, const Region& r,
                                                 const std::string& text) override {
    note("failed " + text, m, r);
  }
  void locationManagerDidFailWithError(const Manager& m, const std::string& text) override {
    note("no position: " + text, m, nullptr);
  }

  const std::shared_ptr<LocationManagerDelegate> delegate_{this, [](auto*) {}};
  /// While the machine slept nobody was woken.
  std::chrono::milliseconds slept_{0};
  BeaconLocationService service_;
  std::vector<std::string> heard_;
};

using Lines = std::vector<std::string>;

struct Timeline {
  const char* name;
  Lines steps;
  Lines heard;
};

const Timeline kTimelines[] = {
    {"outside is known after 30 s, then there are entries",
     {"1 monitor A", "40 state A", "50 hear A 1", "100 until"},
     {"1 started A", "31 state 2 A", "40 state 2 A", "50 entry A", "50 state 1 A", "80 exit A",
      "80 state 2 A"}},
    {"crossings that nobody wants are states alone",
     {"0 monitor A", "1 monitor a", "31 hear A 1", "70 until"},
     {"0 started A", "1 started A", "30 state 2 A", "31 state 1 A", "61 state 2 A"}},
    {"a slow beacon and one that flaps stay inside",
     {"0 monitor A", "0 hear A 1", "29.9 hear A 1", "59.8 hear A 2", "89.7 hear A 1 127",
      "119 until"},
     {"0 started A", "0 state 1 A"}},
    {"one entry for several beacons, other beacons are none",
     {"0 monitor A", "31 hear B 1", "32 hear A 1", "33 hear A 2", "62.5 until", "64 until"},
     {"0 started A", "30 state 2 A", "32 entry A", "32 state 1 A", "63 exit A", "63 state 2 A"}},
    {"ranged in order of first hearing, held, unknown, forgotten",
     {"0 range A", "0.5 hear A 2", "0.6 hear A 1 -80", "1.7 hear A 2", "1.8 hear B 3", "2 stop A",
      "9 until", "10.7 range A", "13.7 stop A", "14.7 range A", "18 stop A", "20 range A",
      "20 hear A 1 -80", "20 hear A 2", "21 stop A", "36 range A", "36 hear A 2", "36 hear A 1",
      "37 until"},
     {"1 ranged 2:2 1:3 A", "2 ranged 2:2 1:3 A", "11.7 ranged 2:2 1:0 A", "12.7 ranged 2:2 1:0 A",
      "13.7 ranged 2:0 1:0 A", "15.7 ranged 2:0 A", "16.7 ranged 2:0 A", "17.7 ranged A",
      "21 ranged 1:3 2:2 A", "37 ranged 2:2 1:2 A"}},
    {"ranging again keeps the rhythm",
     {"0 range A", "0.6 range A", "1.2 stop A", "1.4 range A", "2.5 until"},
     {"1 ranged A", "2.4 ranged A"}},
    {"results that a sleep has missed are not made up for",
     {"0 range A", "1.5 sleep", "3.5 until"},
     {"1 ranged A", "2 ranged A", "3 ranged A"}},
    {"a silence in which nobody listened is none",
     {"0 monitor A", "0 monitor B", "1 hear A 1", "6 sleep", "7 hear B 1", "70 until"},
     {"0 started A", "0 started B", "1 state 1 A", "7 state 1 B", "60 exit A", "60 state 2 A",
      "60 exit B", "60 state 2 B"}},
    {"what was ranged before a sleep is held after it",
     {"0 range A", "0.5 hear A 1", "1.5 sleep", "2.5 stop A", "13 range A", "14.5 until"},
     {"1 ranged 1:2 A", "2 ranged 1:2 A", "14 ranged 1:0 A"}},
    {"the same region again keeps state and ranging",
     {"0 monitor A", "0 range A", "0.5 hear A 1", "0.7 monitor A", "0.7 state A", "1 until"},
     {"0 started A", "0.5 state 1 A", "0.7 started A", "0.7 state 1 A", "1 ranged 1:2 A"}},
    {"another UUID under the identifier begins anew and ends ranging",
     {"0 monitor A", "0 range A", "0.5 hear A 1", "0.7 monitor X", "0.8 state X", "0.9 range A",
      "2 hear A 1", "3 hear X 1", "3 range X", "3.2 state A", "3.5 stop A", "4 until", "4 stop X",
      "40 until"},
     {"0 started A", "0.5 state 1 A", "0.7 started X", "0.8 state 0 X", "3 state 1 X",
      "3.2 state 0 A", "4 ranged 1:2 X", "33 exit X", "33 state 2 X"}},
    {"radio off inside: no exit, no results, states anew",
     {"0 monitor A", "0 range A", "0.5 hear A 1", "1.5 radio off", "1.5 radio off", "2 state A",
      "2.5 hear A 1", "60 radio denied", "70 radio on", "70.5 hear A 2", "71 stop A", "101 until"},
     {"0 started A", "0.5 state 1 A", "1 ranged 1:2 A", "1.5 failed off A", "1.5 state 0 A",
      "2 state 0 A", "60 failed denied A", "70.5 state 1 A", "71 ranged 2:2 A", "100.5 exit A",
      "100.5 state 2 A"}},
    {"beacons heard before the radio went are forgotten",
     {"0 range A", "0.5 hear A 1", "1.5 radio off", "2 radio on", "3 until"},
     {"1 ranged 1:2 A", "3 ranged A"}},
    {"no radio at the start: monitoring starts by itself once it can",
     {"0 radio missing", "1 monitor A", "1 monitor A", "1.5 takeover", "1.6 monitor A",
      "40 radio on", "40 radio on", "41 hear A 1"},
     {"1 failed missing A", "1.6 failed missing A", "40 started A", "41 state 1 A"}},
    {"a new manager takes over, the earlier one's ranging ends",
     {"0 monitor A", "0 range A", "0.5 hear A 1", "1.5 takeover", "1.6 late A", "3 hear A 1",
      "4 monitor A", "4 state A", "4 range A", "5 stop A", "34 until"},
     {"0 started A", "0.5 state 1 A", "1 ranged 1:2 A", "4 started A", "4 state 1 A",
      "5 ranged 1:2 A", "33 exit A", "33 state 2 A"}},
    {"the display turns on, once more after the delegate has gone",
     {"0 monitor A", "0 monitor b", "1 display", "2 hear A 1", "2 hear b 1", "3 display", "4 leave",
      "5 display"},
     {"0 started A", "0 started b", "2 state 1 A", "2 state 1 b", "3 state 1 A"}},
};

TEST(LocationService, Timelines) {
  for (const Timeline& timeline : kTimelines) {
    Stage stage;
    EXPECT_THAT(stage.play(timeline.steps), ElementsAreArray(timeline.heard)) << timeline.name;
  }
}

TEST(LocationService, StartedAnewInsideACallback) {
  Stage stage;
  stage.play({"0 range A", "0 range B", "0.5 until"});
  stage.startsAnewWhenTold_ = true;
  EXPECT_THAT(stage.play({"3 until"}), ElementsAre("1 ranged A"));
}

TEST(LocationService, ListensNoMoreThanItMust) {
  Stage stage;
  stage.play({"0 monitor A", "1 range A", "1.1 range A", "2 stop A", "3 monitor a", "4 monitor X",
              "5 monitor B"});
  EXPECT_THAT(stage.radio_->asked, ElementsAre("presence", "full", "presence", "presence", "full"));
  EXPECT_EQ(stage.radio_->presenceOf, uuid('X'));
}

TEST(LocationService, SleepsWhileNothingCanChange) {
  Stage stage;
  stage.play({"0 monitor A", "31 hear A 1", "32 hear A 1", "50 hear A 1", "100 until"});
  EXPECT_LE(stage.queues_.wakeUps, 4);
  const int before = stage.queues_.wakeUps;
  stage.play({"5000 until"});
  EXPECT_EQ(stage.queues_.wakeUps, before);
}

TEST(LocationService, KeepsTheBeaconsHeardLast) {
  LocationSettings settings;
  settings.ranging.mostBeacons = 3;
  Stage stage(settings);
  EXPECT_THAT(stage.play({"0 range A", "0.1 hear A 1", "0.2 hear A 2", "0.3 hear A 3",
                          "0.4 hear A 1", "0.5 hear A 4", "0.6 hear A 5", "1 until"}),
              ElementsAre("1 ranged 1:2 4:2 5:2 A"));
  EXPECT_EQ(stage.phone_.contents("log").size(), 1U) << "said once";
}

/// A beacon is listed with the last strength that was known, also while its distance is not.
TEST(LocationService, Strength) {
  BeaconTable table{LocationSettings()};
  const IBeacon steady{uuid('A'), 1, 2, -59}, mute{uuid('B'), 3, 4, 20};
  table.heard(steady, -59, Moment(1s));
  table.heard(steady, 127, Moment(2s));
  table.heard(mute, -70, Moment(2s));
  const auto rows = table.rows(Moment(13s));
  ASSERT_EQ(rows.size(), 2U);
  EXPECT_EQ(rows[0].beacon.rssi, -59);
  EXPECT_NEAR(rows[0].beacon.accuracy, 1, 0.1);
  EXPECT_EQ(rows[0].lastHeard, Moment(2s));
  EXPECT_EQ(rows[1].beacon.rssi, -70);
  EXPECT_EQ(rows[1].beacon.accuracy, -1);
  EXPECT_EQ(table.rows(Moment(14s), &steady.proximityUUID)[0].beacon.rssi, 0);
}

TEST(LocationService, Positions) {
  Stage stage;
  const auto fail = [&](std::optional<std::string> text) {
    stage.positions_->listener.lock()->positionFailureChanged(text);
    return stage.play({});
  };
  const auto again = [&] { return stage.play({"0 until"}); };
  EXPECT_EQ(stage.manager_->location()->longitude, 2.25);
  EXPECT_THAT(fail("no source"), ElementsAre()) << "while nobody wants updates";
  stage.manager_->requestAlwaysAuthorization();
  stage.manager_->startUpdatingLocation();
  stage.manager_->startUpdatingLocation();
  EXPECT_THAT(again(), ElementsAre("0 no position: no source"));
  fail("no source");
  EXPECT_THAT(again(), ElementsAre());
  fail(std::nullopt);
  fail("gone");
  EXPECT_THAT(again(), ElementsAre("0 no position: gone"));
  stage.play({"1 takeover"});
  EXPECT_THAT(stage.positions_->asked, ElementsAre("authorize", "start", "stop"));
  stage.manager_->startUpdatingLocation();
  stage.manager_->stopUpdatingLocation();
  EXPECT_THAT(stage.play({"2 until"}), ElementsAre("1 no position: gone")) << "a new manager";
  EXPECT_EQ(stage.positions_->asked.back(), "stop");
  EXPECT_EQ(stage.positions_->asked.size(), 5U);
}

}  // namespace
}  // namespace korvani::location
