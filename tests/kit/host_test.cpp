// The kit's border to its host: a missing phone, a host that throws, a phone that fails.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvani/sdk/korvani.h>
#include <korvani/simulator/simulated_phone.h>

#include <latch>
#include <memory>
#include <stdexcept>
#include <thread>
#include <vector>

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

TEST(Host, AHundredThreadsAtOnceMakeOneInstance) {
  const auto phone = installedPhone();
  constexpr int kThreads = 100;
  std::latch all(kThreads);
  std::vector<std::shared_ptr<Korvani>> made(kThreads);
  std::vector<std::thread> threads;
  for (auto& mine : made) {
    threads.emplace_back([&] {
      all.arrive_and_wait();
      Korvani::initWithAPIKey(std::nullopt, nullptr, false);
      mine = Korvani::sharedInstance();
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_NE(made[0], nullptr);
  EXPECT_THAT(made, testing::Each(made[0]));
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

/// The simulated phone with HTTP that cannot even take a request.
struct BrokenConnection : platform::URLConnection {
  void sendAsynchronousRequest(platform::URLRequest, std::shared_ptr<platform::Queue>,
                               CompletionHandler) override {
    throw std::runtime_error("no sockets left");
  }
  std::optional<std::string> dataWithContentsOfURL(const platform::URL&) override {
    throw std::runtime_error("no sockets left");
  }
};

struct BrokenLog : platform::Log {
  void write(std::string_view) override { throw std::runtime_error("disk full"); }
};

struct BrokenPhone : Platform {
  platform::Log& log() override { return *usedLog; }
  platform::Clock& clock() override { return whole.clock(); }
  platform::RandomUuids& randomUuids() override { return whole.randomUuids(); }
  platform::UserDefaults& standardUserDefaults() override { return whole.standardUserDefaults(); }
  platform::NotificationCenter& defaultNotificationCenter() override {
    return whole.defaultNotificationCenter();
  }
  platform::Queues& queues() override { return whole.queues(); }
  platform::URLConnection& urlConnection() override { return *usedConnection; }
  platform::JSONSerialization& json() override { return whole.json(); }
  platform::ImageDecoder& images() override { return whole.images(); }
  platform::LocationService& locationService() override { return whole.locationService(); }
  platform::Device& device() override { return whole.device(); }
  platform::Application& application() override { return whole.application(); }
  platform::WebViews& webViews() override { return whole.webViews(); }

  SimulatedPhone whole;
  BrokenLog brokenLog;
  BrokenConnection brokenConnection;
  platform::Log* usedLog = &whole.log();
  platform::URLConnection* usedConnection = &whole.urlConnection();
};

const platform::Beacon kBeacon{*platform::Uuid::fromString("5A1C0DE2-7B4E-4F19-9C3D-2E8B6F0A4D71"),
                               1, 1, platform::kProximityNear};

TEST(Host, APhoneThatThrowsIsSurvived) {
  const auto phone = std::make_shared<BrokenPhone>();
  phone->usedConnection = &phone->brokenConnection;
  Platform::install(phone);
  Korvani::initWithAPIKey("key", nullptr, false);
  EXPECT_FALSE(phone->whole.contents("location").empty()) << "the region starts all the same";

  phone->whole.rangeBeacons({kBeacon});
  phone->whole.rangeBeacons({kBeacon});
  Korvani::didReceiveLocalNotification(Value::Dictionary{
      {"type", "IMG"}, {"image", Value::Dictionary{{"url", "http://a.example/"}}}});
  phone->whole.advance(1s);
  EXPECT_EQ(phone->whole.contents("log").size(), 3U)
      << "configuration, the one report (the beacon is remembered), and the download";
}

TEST(Host, ALogThatThrowsCostsItsLinesAlone) {
  const auto phone = std::make_shared<BrokenPhone>();
  phone->usedLog = &phone->brokenLog;
  Platform::install(phone);
  phone->whole.settings().answers["scenario"] = {simulator::Answer::json(
      Value::Dictionary{{"success", true}, {"notification_text", "Hello"}})};
  Korvani::initWithAPIKey("key", nullptr, false);
  Korvani::setDebugLogEnabled(true);
  phone->whole.rangeBeacons({kBeacon});
  phone->whole.advance(1s);
  EXPECT_EQ(phone->whole.notifications().size(), 1U);
}

}  // namespace
}  // namespace korvani
