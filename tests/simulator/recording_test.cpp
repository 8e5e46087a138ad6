// What is recorded on one phone replays to the same effects on another.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvani/sdk/korvani.h>
#include <korvani/simulator/recorded_phone.h>
#include <korvani/simulator/simulated_phone.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <vector>

namespace korvani::simulator {
namespace {

using namespace std::chrono_literals;
using nlohmann::json;
using platform::Value;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

using Dictionary = Value::Dictionary;

std::string contentsOf(const std::string& name) {
  std::ifstream file(name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::string> onlyInFirst(std::vector<std::string> first,
                                     std::vector<std::string> second) {
  std::sort(first.begin(), first.end());
  std::sort(second.begin(), second.end());
  std::vector<std::string> left;
  std::set_difference(first.begin(), first.end(), second.begin(), second.end(),
                      std::back_inserter(left));
  return left;
}

class Recording : public testing::Test {
 protected:
  Recording() { std::filesystem::create_directory(folder_); }
  ~Recording() override { std::filesystem::remove_all(folder_); }

  void install(RecordingOptions options) {
    phone_->randomUuids().newUuid();  // so that the next is not the first of a replay
    platform::Platform::install(recordedPhone(phone_, file_, options));
  }

  /// A day with everything in it.
  void live() {
    Settings& settings = phone_->settings();
    settings.utcOffset = 60min;
    settings.localeIdentifier = "fr_FR";
    settings.batteryLevel = 0.5F;
    settings.location = {48.5, -2.25};
    settings.screen = {320, 568};
    settings.openableUris = {"shop:"};
    settings.files["http://a/pears.png"] = contentsOf(KORVANI_PNG);
    settings.answers["configuration"] = {
        Answer::json(Dictionary{{"success", true}, {"korvani_uuid", std::string(32, 'a')}})};
    settings.answers["configuration"][0].after = 1500ms;
    const auto scenario = [](const char* type, const char* key, const Value& content) {
      return Answer::json(Dictionary{{"success", true},
                                     {"type", type},
                                     {"notification_text", type},
                                     {"scenario_history_id", 4},
                                     {key, content}});
    };
    settings.answers["scenario"] = {
        scenario("IMG", "image", Dictionary{{"url", "http://a/pears.png"}}),
        Answer::json(Dictionary{{"error_message", "No"}}),
        Answer::failure("no network"),
        Answer::text("<html>"),
        Answer::text("{\"success\": true, \"notification_text\": \"caf\xE9\"}"),
        scenario("WVW", "url", "http://a/"),
        scenario("URI", "uri", Dictionary{{"default", "other:"}, {"fallback", "shop:today"}})};
    phone_->setStored("KVNotificationDisable", false);
    phone_->setStored("host's own", "private");

    auto launch = std::make_shared<platform::LocalNotification>();
    launch->userInfo = Dictionary{{"type", "URI"}, {"uri", "shop:"}, {"scenario_history_id", 7}};
    Korvani::initWithAPIKey("secret-key", launch, true);
    Korvani::setDebugLogEnabled(true);
    Korvani::setUserId("secret-user");
    Korvani::setStatusBarStyle(0);
    Korvani::setColorBackground(platform::Color{1, 2, 255});
    Korvani::requestLocalizationAndNotificationsAuthorization();
    phone_->startMonitoring();
    phone_->determineState(platform::RegionState::kInside);
    phone_->advance(2s);
    for (std::uint16_t minor = 1; minor <= 7; ++minor) {
      settings.batteryLevel -= 0.05F;
      settings.utcOffset += 30min;
      phone_->rangeBeacons({{.proximityUUID = {}, .major = 1, .minor = minor, .proximity = 2}});
      phone_->advance(700ms);
      phone_->dismissAlert();
      phone_->openNotification();
      Korvani::didBecomeActive();  // before the image is fetched
      phone_->advance(1s);
      phone_->tap({22, 42});
      phone_->advance(10ms);
      settings.files.clear();  // the next fetch fails
    }
    Korvani::setModeCustomView(true);
    phone_->enterBackground();
    Korvani::didEnterBackground();
    phone_->advance(2500ms);
    settings.backgroundTimeRemaining = 9;
    phone_->advance(1s);
    phone_->expireBackgroundTime();
    Korvani::didBecomeActive();
    phone_->failMonitoring("switched off");
    phone_->failLocation("nowhere");
    phone_->exitRegion();
    settings.answers["scenario"].front().after = 24h;
    phone_->enterRegion();
    phone_->rangeBeacons({{.proximityUUID = {}, .major = 2, .minor = 1, .proximity = 3},
                          {.proximityUUID = {}, .major = 2, .minor = 2, .proximity = 1}});
    phone_->advance(2s);
    settings.answers["scenario"].front().after = 4500ms;
    phone_->rangeBeacons({{.proximityUUID = {}, .major = 2, .minor = 3, .proximity = 1}});
    phone_->advance(6s);
  }

  /// What korvani-replay prints of the recording, sent to another folder, without times and
  /// threads.
  std::vector<std::string> replayed() {
    std::vector<std::string> effects;
    const std::string sent = folder_.string() + "-sent";
    std::filesystem::rename(folder_, sent);
    const std::string command = "cd " + sent + " && " KORVANI_REPLAY_PROGRAM " visit.jsonl";
    FILE* const output = popen(command.c_str(), "r");
    std::string line;
    for (int c = fgetc(output); c != EOF; c = fgetc(output)) {
      if (c != '\n') {
        line += static_cast<char>(c);
        continue;
      }
      json effect = json::parse(line);
      effect.erase("at");
      effect.erase("thread");
      effects.push_back(effect.dump());
      line.clear();
    }
    EXPECT_EQ(pclose(output), 0);
    std::filesystem::rename(sent, folder_);
    return effects;
  }

  std::vector<std::string> lived() const {
    std::vector<std::string> effects;
    for (const Effect& effect : phone_->effects()) {
      effects.push_back(json{{effect.kind, json::parse(effect.content.jsonText())}}.dump());
    }
    return effects;
  }

  const std::filesystem::path folder_ =
      testing::TempDir() + "korvani-recording-" + std::to_string(std::random_device()());
  const std::string file_ = folder_ / "visit.jsonl";
  const std::shared_ptr<SimulatedPhone> phone_ = std::make_shared<SimulatedPhone>();
};

TEST_F(Recording, ReplaysToTheSameEffects) {
  phone_->setLocalNotificationOpenedHandler(&Korvani::didReceiveLocalNotification);
  install({.withIdentity = true});
  live();
  for (const char* kind : {"alert", "fetch", "page", "openURL", "screen", "backgroundTask"}) {
    EXPECT_FALSE(phone_->contents(kind).empty()) << kind;
  }
  EXPECT_THAT(onlyInFirst(lived(), replayed()), IsEmpty());
  EXPECT_THAT(onlyInFirst(replayed(), lived()), IsEmpty());
}

TEST_F(Recording, LeavesOutWhoItIs) {
  install({});
  live();
  const std::string script = contentsOf(file_);
  EXPECT_THAT(script, Not(HasSubstr("secret")));
  EXPECT_THAT(script, Not(HasSubstr("private")));
  EXPECT_EQ(replayed().size(), lived().size());
}

TEST_F(Recording, IsCompleteWhileARequestIsUnderWay) {
  install({});
  phone_->settings().answers["configuration"] = {Answer::text("{}")};
  Korvani::initWithAPIKey("", nullptr, false);
  EXPECT_EQ(replayed(), lived());
  EXPECT_THAT(contentsOf(file_), HasSubstr("not recorded"));
  phone_->advance(100ms);
  EXPECT_THAT(contentsOf(file_), Not(HasSubstr("not recorded")));
  EXPECT_EQ(replayed(), lived());
}

TEST_F(Recording, LeavesOutWhatNoScriptHolds) {
  install({});
  phone_->settings().location = {91, 0};
  phone_->settings().batteryLevel = 7;
  phone_->settings().screen = {0, 0};
  Korvani::initWithAPIKey("key", nullptr, false);
  phone_->rangeBeacons({{.proximityUUID = {}, .major = 1, .minor = 1, .proximity = 2}});
  phone_->advance(2s);
  EXPECT_EQ(replayed().size(), lived().size());
}

TEST(RecordingFile, ThatCannotBeWrittenIsSaidAndThePhoneWorks) {
  const auto phone = std::make_shared<SimulatedPhone>();
  platform::Platform::install(recordedPhone(phone, "/nowhere/file"));
  Korvani::initWithAPIKey("key", nullptr, false);
  EXPECT_THAT(phone->contents("log").at(0).plainText(), HasSubstr("/nowhere/file: No such file"));
  EXPECT_EQ(phone->contents("request").size(), 1u);
}

}  // namespace
}  // namespace korvani::simulator
