// The kit where the clock of the phone jumps by years, as it does when its battery was empty.
#include <gtest/gtest.h>
#include <korvani/platform/forwarding.h>
#include <korvani/sdk/korvani.h>
#include <korvani/simulator/simulated_phone.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>

namespace korvani {
namespace {

using namespace std::chrono_literals;
using platform::Value;
using simulator::Answer;
using simulator::SimulatedPhone;
using std::chrono::years;

struct ShiftedClock final : platform::Clock {
  explicit ShiftedClock(platform::Clock& right) : right_(right) {}
  platform::Date now() const override {
    return right_.now() + std::chrono::duration_cast<std::chrono::milliseconds>(shift);
  }
  std::chrono::minutes utcOffset(platform::Date date) const override {
    return right_.utcOffset(date);
  }
  void sleepFor(std::chrono::milliseconds duration) override { right_.sleepFor(duration); }

  years shift{0};

 private:
  platform::Clock& right_;
};

struct ShiftedPhone final : platform::ForwardingPlatform {
  using ForwardingPlatform::ForwardingPlatform;
  platform::Clock& clock() override { return shifted; }
  ShiftedClock shifted{phone().clock()};
};

/// Whether the service has the phone be silent from the first report on.
class JumpingClock : public testing::TestWithParam<bool> {};

TEST_P(JumpingClock, IsLivedWith) {
  const bool isDisabled = GetParam();
  const auto rest = std::make_shared<SimulatedPhone>();
  const auto phone = std::make_shared<ShiftedPhone>(rest);
  platform::Platform::install(phone);
  rest->settings().answers["configuration"] = {
      Answer::json(Value::Dictionary{{"korvani_uuid", std::string(32, 'a')}})};
  rest->settings().answers["scenario"] = {Answer::json(Value::Dictionary{
      {"success", true}, {"notification_text", "Hello"}, {"disabled", isDisabled}})};

  struct Step {
    years ahead;
    bool asksForConfiguration;
    /// Where the phone is to be silent; elsewhere it always reports.
    bool reportsThough;
  };
  const Step steps[] = {
      {years(0), true, true},
      // The configuration takes the one request of the day.
      {years(10), true, false},
      // What was asked in ten years counts as asked.
      {years(-10), false, false},
      {years(0), false, false},
      {years(11), true, false},
  };
  std::uint16_t minor = 0;
  for (const Step& step : steps) {
    SCOPED_TRACE(testing::Message() << "step " << minor);
    phone->shifted.shift = step.ahead;
    rest->takeEffects();
    Korvani::initWithAPIKey("key", nullptr, false);
    rest->advance(1s);
    rest->rangeBeacons({{.proximityUUID = {}, .major = 1, .minor = ++minor, .proximity = 2}});
    rest->advance(1s);
    const auto requests = rest->contents("request");
    const auto asked = [&](const char* endpoint) {
      return std::count_if(requests.begin(), requests.end(), [&](const Value& request) {
        return request.at("url").text()->ends_with(endpoint);
      });
    };
    const bool reports = step.reportsThough || !isDisabled;
    EXPECT_EQ(asked("/configuration"), step.asksForConfiguration ? 1 : 0);
    EXPECT_EQ(asked("/scenario"), reports ? 1 : 0);
    EXPECT_EQ(rest->contents("notification").size(), reports ? 1U : 0U);
  }
}

INSTANTIATE_TEST_SUITE_P(, JumpingClock, testing::Bool(), [](const auto& isDisabled) {
  return isDisabled.param ? "Disabled" : "Enabled";
});

}  // namespace
}  // namespace korvani
