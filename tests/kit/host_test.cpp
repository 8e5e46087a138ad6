// The kit's border to its host: a missing phone, a host that throws, a phone that fails.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvani/platform/forwarding.h>
#include <korvani/sdk/korvani.h>
#include <korvani/simulator/simulated_phone.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <latch>
#include <memory>
#include <new>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

namespace {

/// Whether this thread lets others pass before it makes the next thing: the worst moment, if only
/// one of them is to make it.
thread_local bool letsOthersPass = false;

}  // namespace

void* operator new(std::size_t size) {
  if (std::exchange(letsOthersPass, false)) {
    for (int i = 0; i < 20; ++i) std::this_thread::yield();
  }
  if (void* const memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }

namespace korvani {
namespace {

using namespace std::chrono_literals;
using platform::Platform;
using platform::Value;
using simulator::SimulatedPhone;

std::shared_ptr<SimulatedPhone> installedPhone() {
  auto phone = std::make_shared<SimulatedPhone>();
  EXPECT_TRUE(Platform::install(phone));
  return phone;
}

TEST(Host, WithoutAPhoneOneLineAndNothingElse) {
  testing::internal::CaptureStderr();
  Korvani::initWithAPIKey("key", nullptr, false);
  Korvani::setDebugLogEnabled(true);
  Korvani::requestLocalizationAndNotificationsAuthorization();
  EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::MatchesRegex("korvani: [^\n]*\n"));
  EXPECT_EQ(Korvani::sharedInstance(), nullptr);
  EXPECT_FALSE(Platform::install(nullptr));
}

TEST(Host, OnePhoneAndOneInstanceForLife) {
  const auto phone = installedPhone();
  EXPECT_FALSE(Platform::install(std::make_shared<SimulatedPhone>()));
  EXPECT_EQ(Platform::installed(), phone.get());
  Korvani::initWithAPIKey(std::nullopt, nullptr, false);
  const auto first = Korvani::sharedInstance();
  ASSERT_NE(first, nullptr);
  Korvani::initWithAPIKey("key", nullptr, false);
  EXPECT_EQ(Korvani::sharedInstance(), first);
}

/// Holds those who start the kit back until all are there.
struct GatheringPhone final : platform::ForwardingPlatform {
  using ForwardingPlatform::ForwardingPlatform;
  void hostCalled(std::string_view, const Value&) override {
    all.arrive_and_wait();
    letsOthersPass = true;
  }
  static constexpr int kThreads = 100;
  std::latch all{kThreads};
};

/// For a process of its own.
bool aHundredThreadsMakeOneInstance() {
  Platform::install(std::make_shared<GatheringPhone>(std::make_shared<SimulatedPhone>()));
  std::vector<std::shared_ptr<Korvani>> made(GatheringPhone::kThreads);
  std::vector<std::thread> threads;
  for (auto& mine : made) {
    threads.emplace_back([&] {
      Korvani::initWithAPIKey(std::nullopt, nullptr, false);
      mine = Korvani::sharedInstance();
    });
  }
  for (auto& thread : threads) thread.join();
  return made[0] && std::count(made.begin(), made.end(), made[0]) == GatheringPhone::kThreads;
}

TEST(Host, AHundredThreadsAtOnceMakeOneInstance) {
  // A second one shows in most tries, not in all.
  for (int i = 0; i < 10; ++i) {
    const pid_t child = ::fork();
    if (child == 0) ::_exit(aHundredThreadsMakeOneInstance() ? 0 : 1);
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_EQ(status, 0);
  }
}

struct ThrowingDelegate : KorvaniDelegate {
  void korvaniDidReceiveNotification(Value) override { throw std::runtime_error("the host's own"); }
};

TEST(Host, AThrowingDelegateCostsNothingElse) {
  const auto phone = installedPhone();
  Korvani::initWithAPIKey("key", nullptr, false);
  phone->advance(1s);
  const auto delegate = std::make_shared<ThrowingDelegate>();
  Korvani::setDelegate(delegate);
  phone->takeEffects();
  Korvani::didReceiveLocalNotification(
      Value::Dictionary{{"type", "WVW"}, {"url", "http://a.example/"}, {"scenario_history_id", 1}});
  phone->advance(1s);
  EXPECT_EQ(phone->contents("page").size(), 1U);
  EXPECT_EQ(phone->contents("request").size(), 1U);
  EXPECT_THAT(phone->contents("log").at(0).plainText(), testing::HasSubstr("the host's own"));
}

const platform::Beacon kBeacon{*platform::Uuid::fromString("5A1C0DE2-7B4E-4F19-9C3D-2E8B6F0A4D71"),
                               1, 1, platform::kProximityNear};

TEST(Host, APhoneThatThrowsIsSurvived) {
  const auto phone = installedPhone();
  int regions = 0, lines = 0;
  phone->setEffectHandler([&](const simulator::Effect& effect) {
    if (effect.kind == "request" || effect.kind == "fetch") {
      throw std::runtime_error("no sockets left");
    }
    if (effect.kind == "location") ++regions;
    if (effect.kind == "log") ++lines;
  });
  Korvani::initWithAPIKey("key", nullptr, false);
  EXPECT_GT(regions, 0) << "the region starts all the same";

  phone->rangeBeacons({kBeacon});
  phone->rangeBeacons({kBeacon});
  Korvani::didReceiveLocalNotification(Value::Dictionary{
      {"type", "IMG"}, {"image", Value::Dictionary{{"url", "http://a.example/"}}}});
  phone->advance(1s);
  EXPECT_EQ(lines, 3) << "configuration, the one report (the beacon is remembered), the download";
}

TEST(Host, WhatAPhoneRefusesCostsTheNextStepNothing) {
  const auto phone = installedPhone();
  phone->settings().answers["configuration"] = {
      simulator::Answer::json(Value::Dictionary{{"korvani_uuid", std::string(32, 'a')}})};
  Value watched, notificationTypes;
  phone->setEffectHandler([&](const simulator::Effect& effect) {
    const Value operation = effect.content.at("operation");
    if (effect.content.has("synchronize") || operation == "requestAlwaysAuthorization") {
      throw std::runtime_error("not now");
    }
    if (operation == "startMonitoringForRegion") {
      watched = effect.content.at("region").at("proximityUUID");
    }
    if (effect.kind == "notificationSettings") notificationTypes = effect.content.at("types");
  });
  Korvani::initWithAPIKey("key", nullptr, false);
  Korvani::requestLocalizationAndNotificationsAuthorization();
  EXPECT_EQ(notificationTypes, 7);
  phone->advance(1s);
  EXPECT_EQ(watched, "AAAAAAAA-AAAA-AAAA-AAAA-AAAAAAAAAAAA");
}

TEST(Host, ALogThatThrowsCostsItsLinesAlone) {
  const auto phone = installedPhone();
  phone->settings().answers["scenario"] = {simulator::Answer::json(
      Value::Dictionary{{"success", true}, {"notification_text", "Hello"}})};
  phone->setEffectHandler([](const simulator::Effect& effect) {
    if (effect.kind == "log") throw std::runtime_error("disk full");
  });
  Korvani::initWithAPIKey("key", nullptr, false);
  Korvani::setDebugLogEnabled(true);
  phone->rangeBeacons({kBeacon});
  phone->advance(1s);
  EXPECT_EQ(phone->notifications().size(), 1U);
}

}  // namespace
}  // namespace korvani
