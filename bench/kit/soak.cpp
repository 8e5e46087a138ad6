// Thirty days of visits on the simulated phone: what the kit holds of memory, threads and
// descriptors must not grow with them.
#include <bench/counted_malloc.h>
#include <bench/notified_application.h>
#include <bench/trend.h>
#include <korvani/sdk/korvani.h>
#include <korvani/simulator/simulated_phone.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace korvani::bench {
namespace {

using platform::Beacon;
using platform::Value;
using namespace std::chrono_literals;

constexpr int kVisits = 20000;
constexpr int kResultsOfVisit = 10;
/// One visit in so many leads to an opened notification.
constexpr int kVisitsForOpening = 4;
constexpr int kSamples = 100;
constexpr int kTenth = kSamples / 10;
constexpr std::chrono::milliseconds kBetween = std::chrono::milliseconds(30 * 24h) / kVisits;
/// Bytes; the least that a forgotten object takes is 24: this tells one in 400 visits.
constexpr double kLittle = 1024;

/// The simulated phone keeps each notification that was ever posted; this one keeps the last.
struct SoakedPhone final : platform::ForwardingPlatform {
  explicit SoakedPhone(std::shared_ptr<simulator::SimulatedPhone> phone)
      : ForwardingPlatform(std::move(phone)) {}
  platform::Application& application() override { return notified; }

  int notifications = 0;
  Value last;
  NotifiedApplication notified{phone().application(), [this](const auto& notification) {
                                 ++notifications;
                                 last = notification.userInfo;
                               }};
};

/// One of each kind of content.
std::array<simulator::Answer, 3> answers() {
  const Value offer = Value::Dictionary{
      {"success", true}, {"notification_text", "Half price"}, {"scenario_history_id", 4711}};
  const Value::Dictionary image{{"url", "http://a.example/pears.png"}};
  return {simulator::Answer::json(offer.with("type", "IMG").with("image", image)),
          simulator::Answer::json(offer.with("type", "WVW").with("url", "http://a.example/")),
          simulator::Answer::json(offer.with("type", "URI").with("uri", "shop://pears"))};
}

std::size_t entriesOf(const char* folder) {
  return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder),
                                                std::filesystem::directory_iterator()));
}

struct Held {
  std::size_t heap = 0;
  std::size_t threads = 0;
  std::size_t descriptors = 0;
};

Held heldNow() { return {bytesInUse(), entriesOf("/proc/self/task"), entriesOf("/proc/self/fd")}; }

class Soak {
 public:
  Soak() {
    whole_->setEffectHandler([this](const simulator::Effect& effect) {
      if (effect.kind == "screen") ++screens_;
      if (effect.kind == "request") ++requests_;
    });
    held_.reserve(kSamples);
    platform::Platform::install(phone_);
    Korvani::initWithAPIKey("bench", nullptr, /*isProd=*/false);
    whole_->advance(1s);
    // Its loop reports each second from then on, and is meant to.
    Korvani::didEnterBackground();
    whole_->expireBackgroundTime();
    Korvani::didBecomeActive();
  }

  bool run() {
    std::printf("tenth     heap, KiB   threads   descriptors\n");
    for (int sample = 1; sample <= kSamples; ++sample) {
      for (int i = 0; i < kVisits / kSamples; ++i) visit();
      held_.push_back(heldNow());
      if (sample % kTenth != 0) continue;
      std::printf("%5d  %12.1f  %8zu  %12zu\n", sample / kTenth,
                  static_cast<double>(held_.back().heap) / 1024, held_.back().threads,
                  held_.back().descriptors);
    }
    return tell();
  }

 private:
  void visit() {
    auto& settings = whole_->settings();
    settings.answers["scenario"] = {answers_[static_cast<std::size_t>(visits_) % answers_.size()]};
    const std::vector<Beacon> result{
        {.proximityUUID = *platform::Uuid::fromString("5A1C0DE2-7B4E-4F19-9C3D-2E8B6F0A4D71"),
         .major = 1,
         .minor = static_cast<std::uint16_t>(visits_ % 1000),
         .proximity = platform::kProximityNear}};
    for (int i = 0; i < kResultsOfVisit; ++i) {
      whole_->rangeBeacons(result);
      whole_->advance(1s);
    }
    if (++visits_ % kVisitsForOpening == 0) open();
    whole_->advance(kBetween - kResultsOfVisit * 1s);
  }

  /// What is shown stays until the next one takes its place, or the host goes into the background.
  void open() {
    ++opened_;
    Korvani::didReceiveLocalNotification(phone_->last);
    whole_->advance(1s);
    if (opened_ % 2 == 0) whole_->enterBackground();
  }

  bool tell() const {
    std::vector<double> heap;
    for (const Held& held : held_) heap.push_back(static_cast<double>(held.heap));
    const Trend trend(heap);
    const auto isSteady = [this](std::size_t Held::*what) {
      return std::all_of(held_.begin(), held_.end(),
                         [&](const Held& held) { return held.*what == held_.front().*what; });
    };
    const bool isFlat =
        trend.isFlat(kLittle) && isSteady(&Held::threads) && isSteady(&Held::descriptors);
    // One asks for the configuration.
    const bool isWhole = phone_->notifications == kVisits && requests_ == 1 + kVisits + opened_;
    std::printf("%d ranging results, %d scenarios, %d openings, %d changes of the screen\n",
                visits_ * kResultsOfVisit, phone_->notifications, opened_, screens_);
    std::printf("heap, KiB    %+9.1f after the first tenth, noise %.1f\n%s\n", trend.growth / 1024,
                trend.noise / 1024,
                !isWhole ? "not all visits were answered"
                : isFlat ? "flat"
                         : "not flat");
    return isFlat && isWhole;
  }

  const std::shared_ptr<simulator::SimulatedPhone> whole_ =
      std::make_shared<simulator::SimulatedPhone>();
  const std::shared_ptr<SoakedPhone> phone_ = std::make_shared<SoakedPhone>(whole_);
  const std::array<simulator::Answer, 3> answers_ = answers();
  std::vector<Held> held_;
  int visits_ = 0;
  int opened_ = 0;
  int requests_ = 0;
  int screens_ = 0;
};

}  // namespace
}  // namespace korvani::bench

int main() { return korvani::bench::Soak().run() ? 0 : 1; }
