// Walk files, and the location service that plays them in real time.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvani/codec/json.h>
#include <korvani/qt/queues.h>
#include <korvani/qt/walk_location.h>

#include <QFile>
#include <QTemporaryDir>
#include <algorithm>

#include "waiting.h"

namespace korvani::qt {
namespace {

using platform::BeaconRegion;
using platform::LocationManager;
using platform::Region;
using platform::RegionState;
using platform::Uuid;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;

const Uuid kOurs = *Uuid::fromString("5A1C0DE2-7B4E-4F19-9C3D-2E8B6F0A4D71");
const Uuid kOther = *Uuid::fromString("00000000-0000-0000-0000-000000000001");

/// Notes what it is told, as short texts.
class Recorder final : public platform::LocationManagerDelegate {
 public:
  using Manager = std::shared_ptr<LocationManager>;
  using RegionRef = std::shared_ptr<const Region>;
  void locationManagerDidStartMonitoringForRegion(const Manager&, const RegionRef&) override {
    told.emplace_back("started");
  }
  void locationManagerDidEnterRegion(const Manager&, const RegionRef&) override {
    told.emplace_back("entered");
  }
  void locationManagerDidExitRegion(const Manager&, const RegionRef&) override {
    told.emplace_back("exited");
  }
  void locationManagerDidDetermineState(const Manager&, RegionState state,
                                        const RegionRef&) override {
    told.push_back("state " + std::to_string(static_cast<int>(state)));
  }
  void locationManagerDidRangeBeacons(const Manager&, const std::vector<platform::Beacon>& beacons,
                                      const RegionRef&) override {
    std::string text = "ranged";
    for (const auto& beacon : beacons) {
      EXPECT_EQ(beacon.proximityUUID, kOurs);
      text += " " + std::to_string(beacon.major) + "/" + std::to_string(beacon.minor) + "/" +
              std::to_string(beacon.proximity);
    }
    told.push_back(text);
  }
  void locationManagerMonitoringDidFailForRegion(const Manager&, const RegionRef&,
                                                 const std::string& why) override {
    told.push_back("failed: " + why);
  }
  void locationManagerDidFailWithError(const Manager&, const std::string&) override { FAIL(); }

  bool wasTold(const std::string& what) const {
    return std::find(told.begin(), told.end(), what) != told.end();
  }

  std::vector<std::string> told;
};

class WalkTest : public testing::Test {
 protected:
  QString fileOf(const QByteArray& text) {
    const QString path = folder_.filePath(QStringLiteral("walk.jsonl"));
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(text);
    return path;
  }
  Walk walkOf(const QByteArray& text) { return readWalk(fileOf(text), json_); }
  std::shared_ptr<LocationManager> newManager(WalkLocationService& service) {
    auto manager = service.newLocationManager();
    manager->setDelegate(recorder_);
    return manager;
  }

  codec::JSON json_;
  QTemporaryDir folder_;
  Queues queues_{ApplicationLife::ofProcess()};
  const std::shared_ptr<Recorder> recorder_ = std::make_shared<Recorder>();
  const std::shared_ptr<BeaconRegion> region_ = std::make_shared<BeaconRegion>(kOurs, "beacon");
};

TEST_F(WalkTest, ReadsAFile) {
  const Walk walk = walkOf(
      "# to the shop\n\n{\"at\": 0, \"beacons\": []}\r\n"
      "{\"at\": 2.5, \"beacons\": [{\"major\": 1, \"minor\": 65535, \"proximity\": -7},"
      " {\"major\": 0, \"minor\": 0, \"proximity\": 3,"
      " \"uuid\": \"00000000-0000-0000-0000-000000000001\"}]}");
  EXPECT_EQ(walk.flaw, std::nullopt);
  ASSERT_EQ(walk.steps.size(), 2U);
  EXPECT_EQ(walk.steps[1].at, std::chrono::milliseconds(2500));
  ASSERT_EQ(walk.steps[1].beacons.size(), 2U);
  EXPECT_EQ(walk.steps[1].beacons[0].minor, 65535);
  EXPECT_EQ(walk.steps[1].beacons[0].proximity, -7);
  EXPECT_EQ(walk.steps[1].beacons[0].uuid, std::nullopt);
  EXPECT_EQ(walk.steps[1].beacons[1].uuid, kOther);
}

TEST_F(WalkTest, SaysWhatIsWrongWithAFile) {
  const std::pair<const char*, const char*> cases[] = {
      {"{\"at\": 1, \"beacons\": []}\n\nnonsense", ":3: the line is no JSON object"},
      {"[]", ":1: the line is no JSON object"},
      {"{\"at\": -1, \"beacons\": []}", ":1: \"at\" is no number of seconds from 0 to a year"},
      {"{\"at\": 1e300, \"beacons\": []}", ":1: \"at\" is no number of seconds from 0 to a year"},
      {"{\"beacons\": []}", ":1: \"at\" is no number of seconds from 0 to a year"},
      {"{\"at\": 2, \"beacons\": []}\n{\"at\": 1, \"beacons\": []}", ":2: \"at\" goes back"},
      {"{\"at\": 1}", ":1: \"beacons\" is no list"},
      {"{\"at\": 1, \"beacons\": [], \"x\": 1}", ":1: unknown key \"x\""},
      {"{\"at\": 1, \"beacons\": [1]}", ":1: a beacon is no object"},
      {"{\"at\": 1, \"beacons\": [{\"minor\": 1, \"proximity\": 1}]}",
       ":1: \"major\" is no integer from 0 to 65535"},
      {"{\"at\": 1, \"beacons\": [{\"major\": 1, \"minor\": 65536, \"proximity\": 1}]}",
       ":1: \"minor\" is no integer from 0 to 65535"},
      {"{\"at\": 1, \"beacons\": [{\"major\": 1, \"minor\": 1, \"proximity\": 1, \"uuid\": "
       "\"x\"}]}",
       ":1: \"uuid\" is no UUID"},
  };
  for (const auto& [text, flaw] : cases) {
    const Walk walk = walkOf(text);
    EXPECT_TRUE(walk.steps.empty());
    EXPECT_THAT(walk.flaw.value_or(""), EndsWith(std::string("walk.jsonl") + flaw));
  }
  EXPECT_THAT(readWalk(QStringLiteral("/nowhere"), json_).flaw.value_or(""),
              testing::StartsWith("/nowhere: "));
}

TEST_F(WalkTest, TellsOfAWalk) {
  WalkLocationService service(
      queues_.mainQueue(),
      walkOf("{\"at\": 0, \"beacons\": [{\"major\": 9, \"minor\": 9, \"proximity\": 1,"
             " \"uuid\": \"00000000-0000-0000-0000-000000000001\"}]}\n"
             "{\"at\": 0.2, \"beacons\": [{\"major\": 1, \"minor\": 2, \"proximity\": 3}]}\n"
             "{\"at\": 1.7, \"beacons\": []}\n"));
  const auto manager = newManager(service);
  // The kit starts regions on request queues too.
  std::thread([&] {
    manager->startMonitoringForRegion(region_);
    manager->requestStateForRegion(region_);
    manager->requestStateForRegion(std::make_shared<Region>("a circle"));
    manager->startRangingBeaconsInRegion(region_);
  }).join();
  EXPECT_TRUE(recorder_->told.empty());
  runUntil([&] { return recorder_->wasTold("ranged"); });
  EXPECT_THAT(recorder_->told, ElementsAre("started", "state 2", "state 0", "entered", "state 1",
                                           "ranged 1/2/3", "exited", "state 2", "ranged"));
}

TEST_F(WalkTest, ANewManagerTakesOver) {
  WalkLocationService service(
      queues_.mainQueue(),
      walkOf("{\"at\": 0.1, \"beacons\": [{\"major\": 1, \"minor\": 2, \"proximity\": 3}]}"));
  const auto earlier = newManager(service);
  earlier->startMonitoringForRegion(region_);
  earlier->startRangingBeaconsInRegion(region_);
  runUntil([&] { return recorder_->wasTold("started"); });
  const auto of = std::make_shared<Recorder>();
  const auto manager = service.newLocationManager();
  manager->setDelegate(of);
  runUntil([&] { return of->wasTold("state 1"); });
  // Its ranging has ended with the earlier one; the next result is of what it ranges itself.
  manager->stopRangingBeaconsInRegion(region_);
  manager->startRangingBeaconsInRegion(region_);
  runUntil([&] { return of->wasTold("ranged 1/2/3"); });
  EXPECT_THAT(of->told, ElementsAre("entered", "state 1", "ranged 1/2/3"));
  EXPECT_THAT(recorder_->told, ElementsAre("started"));
}

TEST_F(WalkTest, FailsWithoutAWalk) {
  WalkLocationService none(queues_.mainQueue(), std::nullopt);
  newManager(none)->startMonitoringForRegion(region_);
  const auto manager = newManager(none);
  manager->startMonitoringForRegion(region_);
  runUntil([&] { return recorder_->told.size() == 2; });
  EXPECT_THAT(recorder_->told, Contains("failed: no Bluetooth radio on this phone yet").Times(2));
  manager->setDelegate(std::weak_ptr<Recorder>());
  manager->requestStateForRegion(region_);
  bool done = false;
  queues_.mainQueue().async([&] { done = true; });
  runUntil([&] { return done; });
  EXPECT_EQ(recorder_->told.size(), 2U);
}

}  // namespace
}  // namespace korvani::qt
