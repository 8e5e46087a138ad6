// Walks: their files, what is received where, and the radio that hears them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvani/codec/json.h>
#include <korvani/location/walk_radio.h>
#include <korvani/simulator/simulated_phone.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>

namespace korvani::location {
namespace {

using namespace std::chrono_literals;
using testing::EndsWith;

const std::string kBeacon =
    R"({"beacon":{"uuid":"5A1C0DE2-7B4E-4F19-9C3D-2E8B6F0A4D71","major":1,"minor":171,"x":3,"y":4)";

class WalkTest : public testing::Test {
 protected:
  ~WalkTest() override { std::filesystem::remove(file_); }

  std::optional<Walk> walkOf(const std::string& text) {
    std::ofstream(file_) << text;
    return readWalk(file_, json_, wrong_);
  }

  codec::JSON json_;
  const std::string file_ =
      testing::TempDir() + testing::UnitTest::GetInstance()->current_test_info()->name() + ".jsonl";
  std::string wrong_;
};

TEST_F(WalkTest, IsReadFromAFile) {
  const auto walk = walkOf(
      "# to the shop\n\n"
      R"({"start":{"x":-10,"y":4}})"
      "\r\n"
      R"({"radio":{"noise":0.5,"sensitivity":-80,"seed":9}})"
      "\n" +
      kBeacon +
      R"(,"power":-63,"period":0.25}})"
      "\n"
      R"({"wait":2})"
      "\n"
      R"({"walk":{"x":3,"y":4,"pace":2.6}})"
      "\n"
      R"({"wait":0.5})");
  ASSERT_TRUE(walk) << wrong_;
  ASSERT_EQ(walk->beacons.size(), 1U);
  const auto& [beacon, place, period] = walk->beacons[0];
  EXPECT_EQ(beacon.minor, 171);
  EXPECT_EQ(beacon.measuredPower, -63);
  EXPECT_EQ(period, 250ms);
  EXPECT_EQ(std::tuple(walk->noise, walk->sensitivity, walk->seed), std::tuple(0.5, -80, 9U));
  EXPECT_EQ(walk->duration(), 7500ms);
  const std::pair<std::chrono::milliseconds, double> places[] = {
      {0ms, -10}, {2000ms, -10}, {3000ms, -7.4}, {7000ms, 3}, {1h, 3}};
  for (const auto& [moment, x] : places) EXPECT_NEAR(walk->placeAt(moment).x, x, 1e-9);
}

TEST_F(WalkTest, AFileThatIsNoneSaysWhy) {
  const std::pair<std::string, std::string> cases[] = {
      {"", ": no beacon"},
      {"\nnonsense", ":2: no JSON object"},
      {R"({"fly":1})",
       ":1: a line has one of \"radio\", \"beacon\", \"start\", \"walk\" and \"wait\""},
      {R"({"wait":1,"start":{"x":0,"y":0}})", "\"walk\" and \"wait\""},
      {R"({"wait":-1})", ":1: \"wait\" is no number from 0 to 3.1536e+07"},
      {R"({"walk":7})", ":1: no object"},
      {R"({"walk":{"x":1}})", ":1: \"y\" is no number from -100000 to 100000"},
      {R"({"walk":{"x":1,"y":1e300}})", ":1: \"y\" is no number from -100000 to 100000"},
      {R"({"walk":{"x":99999,"y":0,"pace":0.01}})"
       "\n"
       R"({"walk":{"x":-99999,"y":0,"pace":0.01}})"
       "\n"
       R"({"wait":31000000})",
       ":3: the walk takes longer than a year"},
      {R"({"wait":1})"
       "\n"
       R"({"start":{"x":0,"y":0}})",
       ":2: the walk has begun"},
      {R"({"radio":{"nois":1}})", ":1: unknown key \"nois\""},
      {kBeacon + R"(,"power":1.5}})", ":1: \"power\" is no integer"},
      {R"({"beacon":{"uuid":"5A1C"}})", ":1: \"uuid\" is no UUID"},
  };
  for (const auto& [text, wrong] : cases) {
    EXPECT_FALSE(walkOf(text)) << text;
    EXPECT_THAT(wrong_, EndsWith(wrong)) << text;
    EXPECT_THAT(wrong_, testing::StartsWith(file_));
  }
  EXPECT_FALSE(readWalk("/", json_, wrong_));
  EXPECT_EQ(wrong_, "/: cannot be read");
}

TEST_F(WalkTest, WhatIsReceivedFollowsDistanceAndNoise) {
  auto walk = *walkOf(kBeacon + R"(}})"
                                "\n"
                                R"({"start":{"x":3,"y":14}})");
  walk.noise = 0;
  EXPECT_EQ(walk.received(0, 0)->rssi, -79);  // ten metres: 20 dB below the measured power
  EXPECT_EQ(iBeaconIn(walk.received(0, 0)->data), walk.beacons[0].beacon);
  walk.path[0].place = walk.beacons[0].place;
  EXPECT_EQ(walk.received(0, 0)->rssi, -33);
  walk.path[0].place.y += 64;
  EXPECT_FALSE(walk.received(0, 0));

  walk.path[0].place = {3, 14};
  walk.noise = 4;
  constexpr int kCount = 10'000;
  double sum = 0, squares = 0;
  for (int number = 0; number < kCount; ++number) {
    const double off = walk.received(0, number)->rssi + 79;
    sum += off;
    squares += off * off;
    EXPECT_EQ(walk.received(0, number)->rssi, walk.received(0, number)->rssi);
  }
  EXPECT_NEAR(sum / kCount, 0, 0.2);
  EXPECT_NEAR(std::sqrt(squares / kCount), 4, 0.2);
}

/// Counts what it hears of each minor.
struct Listener final : AdvertisementListener {
  void beaconHeard(const IBeacon& beacon, int) override { ++heard[beacon.minor]; }
  void availabilityChanged(const std::optional<std::string>& why) override { failure = why; }
  std::map<int, int> heard;
  std::optional<std::string> failure;
};

class WalkRadioTest : public WalkTest {
 protected:
  std::shared_ptr<WalkRadio> radioOf(std::optional<Walk> walk) {
    const auto now = [this] { return Moment(phone_.elapsed()); };
    auto radio = std::make_shared<WalkRadio>(phone_.queues(), now, std::move(walk), "no walk");
    radio->setListener(listener_);
    return radio;
  }

  simulator::SimulatedPhone phone_;
  const std::shared_ptr<Listener> listener_ = std::make_shared<Listener>();
};

TEST_F(WalkRadioTest, HearsWhatIsWantedWhileItIsInRange) {
  auto walk =
      *walkOf(kBeacon + R"(,"period":0.25}})"
                        "\n"
                        R"({"beacon":{"uuid":"00000000-0000-0000-0000-000000000001","major":1,)"
                        R"("minor":2,"x":0,"y":0,"period":0.1}})"
                        "\n"
                        R"({"wait":20})"
                        "\n"
                        R"({"walk":{"x":900,"y":0,"pace":100}})");
  const platform::Uuid ours = walk.beacons[0].beacon.proximityUUID;
  const auto radio = radioOf(walk);
  phone_.advance(2s);
  EXPECT_TRUE(listener_->heard.empty());
  radio->listen({Listening::Level::kPresence, ours});
  phone_.advance(2s);
  EXPECT_EQ(listener_->heard, (std::map<int, int>{{171, 8}}));
  radio->listen({Listening::Level::kFull});
  phone_.advance(2s);
  EXPECT_EQ(listener_->heard, (std::map<int, int>{{171, 16}, {2, 20}}));
  radio->listen({Listening::Level::kOff});
  phone_.advance(10s);
  radio->listen({Listening::Level::kFull});
  phone_.advance(2s);
  EXPECT_EQ(listener_->heard, (std::map<int, int>{{171, 24}, {2, 40}}));
  phone_.advance(10s);
  listener_->heard.clear();
  phone_.advance(10s);
  EXPECT_TRUE(listener_->heard.empty());
  EXPECT_FALSE(listener_->failure);
}

TEST_F(WalkRadioTest, FailsWithoutAWalk) {
  const auto radio = radioOf(std::nullopt);
  radio->listen({Listening::Level::kFull});
  EXPECT_FALSE(listener_->failure);
  phone_.advance(0s);
  EXPECT_EQ(listener_->failure, "no walk");
}

}  // namespace
}  // namespace korvani::location
