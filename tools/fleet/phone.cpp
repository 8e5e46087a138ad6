// The plan as steps of the simulated phone, and what its service answers.
#include "phone.h"

#include <korvani/sdk/korvani.h>
#include <korvani/simulator/simulated_phone.h>

#include <algorithm>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>

namespace korvani::fleet {
namespace {

using namespace std::chrono_literals;
using platform::Value;
using simulator::Answer;

/// 2026-01-05T00:00:00Z.
constexpr platform::Date kFirstMidnight{1767571200s};
constexpr char kUuid[] = "c0ffee5e9a714d2bb3f81e64a7d50392";
constexpr double kMinutesToOpening = 2;

Answer answerOf(Value::Dictionary entries, bool isDisabled) {
  if (isDisabled) entries.emplace("disabled", true);
  return Answer::json(std::move(entries));
}

class Life {
 public:
  Life(const Habits& habits, Random random, bool isDisabled, Ledger& ledger)
      : habits_(habits),
        random_(std::move(random)),
        ledger_(ledger),
        withScenario_(answerOf({{"success", true},
                                {"scenario_history_id", 1234567},
                                {"notification_text", "Fresh from the oven: rye until noon."},
                                {"type", "WVW"},
                                {"url", "https://content.korvani.example/bakery.html"}},
                               isDisabled)),
        withoutScenario_(answerOf({{"success", false}}, isDisabled)) {
    platform::Platform::install(phone_);
    phone_->setLocalNotificationOpenedHandler(&Korvani::didReceiveLocalNotification);
    phone_->setEffectHandler([this](const simulator::Effect& effect) { count(effect); });
    settings_.location = {48.856614, 2.352222};
    settings_.batteryLevel = 0.64F;
    settings_.answers["configuration"] = {
        answerOf({{"success", true}, {"korvani_uuid", kUuid}}, isDisabled)};
    settings_.answers["confirm"] = {answerOf({{"success", true}}, isDisabled)};
  }

  void live(const Plan& plan) {
    for (const milliseconds start : plan.starts) {
      steps_.emplace(start, [] { Korvani::initWithAPIKey("demo-key", nullptr, true); });
    }
    for (const Visit& visit : plan.visits) {
      steps_.emplace(visit.arrival, [this] { phone_->enterRegion(); });
      for (const Ranging& ranging : visit.rangings) {
        steps_.emplace(ranging.at, [this, &ranging] { range(ranging.beacons); });
      }
      steps_.emplace(visit.departure, [this] { phone_->exitRegion(); });
    }
    while (!steps_.empty()) {
      const auto step = steps_.extract(steps_.begin());
      phone_->advance(std::max(step.key() - phone_->elapsed(), 0ms));
      step.mapped()();
    }
  }

 private:
  void count(const simulator::Effect& effect) {
    if (effect.kind != "request") return;
    const std::string& url = *effect.content.at("url").text();
    const std::string endpoint = url.substr(url.rfind('/') + 1);
    const std::string* body = effect.content.at("body").text();
    ledger_.add(endpoint, static_cast<std::size_t>(effect.at / 1s), body ? body->size() : 0,
                settings_.answers.at(endpoint).at(0).body.size());
  }

  void range(std::vector<platform::Beacon> beacons) {
    static const auto uuid = platform::Uuid::fromString("C0FFEE5E-9A71-4D2B-B3F8-1E64A7D50392");
    auto& answers = settings_.answers["scenario"];
    answers.clear();
    for (platform::Beacon& beacon : beacons) {
      beacon.proximityUUID = *uuid;
      if (beacon.proximity == platform::kProximityUnknown) continue;
      answers.push_back(happens(habits_.scenarios, random_) ? withScenario_ : withoutScenario_);
    }
    phone_->rangeBeacons(beacons);
    phone_->advance(1s);  // Answers take a tenth of that.
    for (const std::size_t all = phone_->notifications().size(); notified_ < all; ++notified_) {
      if (!happens(habits_.opened, random_)) continue;
      const double minutes = kMinutesToOpening * std::exponential_distribution<double>()(random_);
      steps_.emplace(phone_->elapsed() + milliseconds(static_cast<std::int64_t>(minutes * 60'000)),
                     [this, index = notified_] { phone_->openNotification(index); });
    }
  }

  const Habits& habits_;
  Random random_;
  Ledger& ledger_;
  const Answer withScenario_;
  const Answer withoutScenario_;
  const std::shared_ptr<simulator::SimulatedPhone> phone_ =
      std::make_shared<simulator::SimulatedPhone>(kFirstMidnight);
  simulator::Settings& settings_ = phone_->settings();
  std::multimap<milliseconds, std::function<void()>> steps_;
  std::size_t notified_ = 0;
};

}  // namespace

bool isDisabled(const Habits& habits, std::size_t phone) {
  Random random = randomOf(habits, phone);
  return happens(habits.disabled, random);
}

void live(const Habits& habits, std::size_t phone, bool isDisabled, Ledger& ledger) {
  Random random = randomOf(habits, phone);
  happens(habits.disabled, random);
  const Plan plan = drawPlan(habits, phone, random);
  Life(habits, std::move(random), isDisabled, ledger).live(plan);
}

}  // namespace korvani::fleet
