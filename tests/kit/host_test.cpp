// The kit's border to its host: a missing phone, a host that throws, a phone that fails.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvani/sdk/korvani.h>

#include <memory>
#include <stdexcept>

#include "forwarding_phone.h"

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

struct BrokenPhone : ForwardingPhone {
  platform::URLConnection& urlConnection() override { return connection; }
  BrokenConnection connection;
};

TEST(Host, APhoneThatThrowsIsSurvived) {
  const auto phone = std::make_shared<BrokenPhone>();
  Platform::install(phone);
  Korvani::initWithAPIKey("key", nullptr, false);
  EXPECT_FALSE(phone->whole.contents("location").empty()) << "the region starts all the same";

  const platform::Beacon beacon{*platform::Uuid::fromString("5A1C0DE2-7B4E-4F19-9C3D-2E8B6F0A4D71"),
                                1, 1, platform::kProximityNear};
  phone->whole.rangeBeacons({beacon});
  phone->whole.rangeBeacons({beacon});
  Korvani::didReceiveLocalNotification(Value::Dictionary{
      {"type", "IMG"}, {"image", Value::Dictionary{{"url", "http://a.example/"}}}});
  phone->whole.advance(1s);
  EXPECT_EQ(phone->whole.contents("log").size(), 3U)
      << "configuration, the one report (the beacon is remembered), and the download";
}

}  // namespace
}  // namespace korvani
