// A day with the kit: what the host calls and what happens on the phone, in any order, each with
// the bytes that say how.
#include <korvani/sdk/korvani.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "input.h"
#include "watched_phone.h"

using namespace korvani;
using namespace std::chrono_literals;
using fuzz::require;
using platform::Date;
using platform::Value;
using simulator::Answer;

namespace {

constexpr const char* kImageAddress = "http://127.0.0.1:8780/image.png";

/// A picture of one pixel.
constexpr unsigned char kImage[] = {
    0x89, 0x50, 0x4E, 0x47, 0x0D, 0x0A, 0x1A, 0x0A, 0x00, 0x00, 0x00, 0x0D, 0x49, 0x48,
    0x44, 0x52, 0x00, 0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x01, 0x08, 0x00, 0x00, 0x00,
    0x00, 0x3A, 0x7E, 0x9B, 0x55, 0x00, 0x00, 0x00, 0x0A, 0x49, 0x44, 0x41, 0x54, 0x78,
    0x9C, 0x63, 0x60, 0x00, 0x00, 0x00, 0x02, 0x00, 0x01, 0x48, 0xAF, 0xA4, 0x71, 0x00,
    0x00, 0x00, 0x00, 0x49, 0x45, 0x4E, 0x44, 0xAE, 0x42, 0x60, 0x82};

/// Points, each way.
constexpr int kDefaultCloseImageSize = 25;

/// Keeps what the host was told.
struct Delegate final : KorvaniDelegate {
  void korvaniDidReceiveNotification(Value notification) override {
    told.push_back(std::move(notification));
  }
  std::vector<Value> told;
};

class Day {
 public:
  explicit Day(fuzz::Input& input) : input_(input) {
    phone_.settings().openableUris = {"http"};
    phone_.settings().files[kImageAddress] =
        std::string(reinterpret_cast<const char*>(kImage), sizeof kImage);
    run_.emplace(phone_);
    observe();
  }

  void run() {
    constexpr int kMostSteps = 200;
    for (int step = 0; step < kMostSteps && !input_.isAtEnd(); ++step) {
      happen();
      observe();
    }
    phone_.advance(1s);
    observe();
    require(alerts_ == run_->errorMessages(), "each error message is shown in an alert");
    require(loops_ == begun_, "each background task is reported on");
  }

 private:
  void happen() {
    switch (input_.below(16)) {
      case 0:
        return start();
      case 1:
        return set();
      case 2:
        return range();
      case 3:
        return tellOfRegion();
      case 4:
        return Korvani::didEnterBackground();
      case 5:
        return Korvani::didBecomeActive();
      case 6:
        return phone_.enterBackground();
      case 7:
        return phone_.expireBackgroundTime();
      case 8:
        return phone_.openNotification(input_.byte());
      case 9:
        return open();
      case 10:
        return tap();
      case 11:
        return phone_.dismissAlert();
      case 12:
        return phone_.presentHostScreen();
      case 13:
        return pass();
      case 14:
        return answer();
      default:
        return callWhatIsOffered();
    }
  }

  void start() {
    const unsigned how = input_.byte();
    auto launch = std::make_shared<platform::LocalNotification>();
    if ((how & 4U) != 0) launch->userInfo = scenario();
    Korvani::initWithAPIKey(how % 2 == 0 ? std::optional<std::string>("key") : std::nullopt,
                            (how & 8U) != 0 ? launch : nullptr, (how & 2U) != 0);
  }

  void set() {
    const unsigned how = input_.byte();
    isCustom_ = (how & 1U) != 0;
    Korvani::setModeCustomView(isCustom_);
    Korvani::setDebugLogEnabled((how & 2U) != 0);
    Korvani::setUserId((how & 4U) != 0 ? std::optional<std::string>(input_.piece()) : std::nullopt);
    phone_.settings().batteryLevel = static_cast<float>(input_.byte()) / 100;
    phone_.settings().allowsBackgroundTasks = (how & 8U) == 0;
    phone_.settings().utcOffset = std::chrono::minutes(input_.below(255) * 12 - 1440);
    if ((how & 16U) != 0) phone_.settings().location = {48.5, -200.0 * input_.byte()};
    if ((how & 32U) != 0) setColours();
    if ((how & 64U) != 0) setCloseImage();
    if ((how & 128U) != 0) setDelegate();
  }

  void setColours() {
    const unsigned how = input_.byte();
    const platform::Color color{static_cast<std::uint8_t>(how), 0x80, 0xFF};
    statusBarStyle_ = static_cast<int>(how % 2);
    colorBackground_ = "#000000";
    if ((how & 2U) != 0) {
      std::array<char, 8> text{};
      std::snprintf(text.data(), text.size(), "#%02x80ff", how);
      colorBackground_ = text.data();
    }
    Korvani::setStatusBarStyle(statusBarStyle_);
    Korvani::setColorBackground((how & 2U) != 0 ? std::optional(color) : std::nullopt);
  }

  void setCloseImage() {
    const bool isOwn = input_.flag();
    closeImageSize_ = isOwn ? 1 : kDefaultCloseImageSize;
    const std::string_view png(reinterpret_cast<const char*>(kImage), sizeof kImage);
    Korvani::setCloseButtonImage(isOwn ? phone_.images().imageWithData(png, 1) : nullptr);
  }

  /// One that has gone is as good as none.
  void setDelegate() {
    const unsigned how = input_.byte();
    delegate_ = (how & 1U) != 0 ? std::make_shared<Delegate>() : nullptr;
    Korvani::setDelegate(delegate_);
    if ((how & 2U) != 0) delegate_ = nullptr;
  }

  /// What is new, or has come to a known distance, is reported once.
  void range() {
    std::vector<platform::Beacon> beacons;
    std::size_t news = 0;
    for (int count = input_.below(4); count > 0; --count) {
      const unsigned how = input_.byte();
      beacons.push_back(fuzz::beacon(how % 4, static_cast<int>(how / 4 % 6)));
      const auto& now = beacons.back();
      const auto before = std::find_if(inRange_.begin(), inRange_.end(),
                                       [&](const auto& one) { return one.minor == now.minor; });
      const bool isNew = before == inRange_.end() || before->proximity != now.proximity;
      if (isNew && now.proximity != platform::kProximityUnknown) ++news;
    }
    if (!beacons.empty()) inRange_ = beacons;
    const bool wasDisabled = isDisabled();
    const bool wasBlocked = isBlocked();
    const std::size_t asked = run_->requests("scenario");
    run_->range(beacons);
    const std::size_t reported = run_->requests("scenario") - asked;
    require(reported == (wasBlocked    ? 0
                         : wasDisabled ? std::min<std::size_t>(news, 1)
                                       : news),
            "what is new in range is reported");
  }

  void tellOfRegion() {
    switch (input_.below(7)) {
      case 0:
        return phone_.startMonitoring();
      case 1:
        return phone_.enterRegion();
      case 2:
        return phone_.exitRegion();
      case 3:
        return phone_.failMonitoring(input_.piece());
      case 4:
        return phone_.failLocation(input_.piece());
      default:
        return phone_.determineState(static_cast<platform::RegionState>(input_.below(3)),
                                     {.beaconRegion = input_.flag()});
    }
  }

  /// Content over the host's screen alone, and content over that.
  void open() {
    phone_.advance({});
    while (!phone_.shown().isNull()) phone_.enterBackground();
    for (int i = 0; i < 2; ++i) {
      const Value opened = scenario();
      if (delegate_) delegate_->told.clear();
      if (!isCustom_) {
        run_->openAlone(opened);
        checkLook();
        checkTold(opened);
        continue;
      }
      Korvani::didReceiveLocalNotification(opened);
      phone_.advance({});
      require(phone_.shown().isNull(), "the kit shows nothing where the host does");
      checkTold(opened);
    }
  }

  /// Of what the kit shows, if anything.
  void checkLook() const {
    const Value shown = phone_.shown();
    if (shown.isNull()) return;
    require(shown.at("statusBarStyle") == Value(statusBarStyle_), "the host's style is asked for");
    require(shown.at("backgroundColor") == Value(colorBackground_), "the host's colour is there");
    const auto& views = *shown.at("views").array();
    const auto cross = std::find_if(views.begin(), views.end(),
                                    [](const Value& view) { return view.at("kind") == "button"; });
    require(cross != views.end() &&
                cross->at("image") == Value(Value::Array{closeImageSize_, closeImageSize_}),
            "the host's image is on the cross");
  }

  void checkTold(const Value& opened) const {
    if (!delegate_) return;
    const Value told =
        opened.without({"success", "error_message", "scenario_history_id", "disabled"});
    require(delegate_->told.size() == 1 && delegate_->told.front() == told,
            "the host is told once of what is opened");
  }

  void tap() {
    static constexpr std::array<platform::Point, 3> kPoints{{{22, 42}, {200, 400}, {300, 20}}};
    phone_.tap(kPoints[static_cast<std::size_t>(input_.below(kPoints.size()))]);
  }

  void pass() {
    static constexpr std::array<std::chrono::milliseconds, 7> kDurations{
        {0ms, 1ms, 100ms, 1s, 1h, 24h - 1ms, 24h}};
    phone_.advance(kDurations[static_cast<std::size_t>(input_.below(kDurations.size()))]);
  }

  void answer() {
    static constexpr std::array<const char*, 3> kEndpoints{
        {"configuration", "scenario", "confirm"}};
    auto& answers =
        phone_.settings().answers[kEndpoints[static_cast<std::size_t>(input_.below(3))]];
    const unsigned how = input_.byte();
    Answer answer = how % 8 == 7   ? Answer::failure("no network")
                    : how % 8 == 6 ? Answer::text(input_.piece())
                                   : Answer::json(envelope(how));
    answer.after = std::chrono::milliseconds(input_.below(3) * 99);
    answers = {answer};
  }

  Value envelope(unsigned how) {
    Value answer = (how & 128U) != 0 ? scenario() : Value(Value::Dictionary{});
    if (how % 4 == 1) answer = answer.with("disabled", true);
    if (how % 4 == 2) answer = answer.with("disabled", input_.value());
    if ((how & 8U) != 0) answer = answer.with("success", true).with("notification_text", "text");
    if ((how & 16U) != 0) answer = answer.with("error_message", "error");
    if ((how & 32U) != 0) answer = answer.with("success", input_.value());
    if ((how & 64U) != 0)
      answer = answer.with("korvani_uuid", std::string(32, input_.flag() ? 'a' : 'x'));
    return answer;
  }

  Value scenario() {
    const unsigned how = input_.byte();
    static constexpr std::array<const char*, 4> kTypes{{"IMG", "WVW", "URI", "img"}};
    const Value uri = Value::Dictionary{{"default", (how & 4U) != 0 ? "http://a" : "x:a"},
                                        {"fallback", "http://b"}};
    const Value action =
        Value::Dictionary{{"type", kTypes[how / 8 % 4]}, {"url", "http://c"}, {"uri", uri}};
    Value scenario =
        Value::Dictionary{{"type", kTypes[how % 4]},
                          {"url", "http://d"},
                          {"uri", uri},
                          {"image", Value::Dictionary{{"url", kImageAddress}, {"action", action}}}};
    if ((how & 32U) != 0) scenario = scenario.with("scenario_history_id", input_.value());
    if ((how & 64U) != 0) scenario = scenario.with("image", input_.value());
    if ((how & 128U) != 0) scenario = scenario.with(input_.piece(), input_.value());
    return scenario;
  }

  void callWhatIsOffered() {
    const auto kit = Korvani::sharedInstance();
    const auto beacon = fuzz::beacon(input_.below(3), input_.below(6));
    const auto record = kit->formParamForServicesWithBeacon(beacon);
    require(record.has_value() == (beacon.minor != 0 && beacon.proximity != 0),
            "the short record is there for a known beacon");
    kit->formParamForRequestAPIwithBeacon(beacon, input_.piece(), Date());
    kit->sendLocalNotification("text");
    Korvani::requestLocalizationAndNotificationsAuthorization();
  }

  bool isDisabled() const { return phone_.stored().at("KVNotificationDisable").booleanReading(); }
  /// As the kit should see it: by the requests that were seen to leave.
  bool isBlocked() const {
    return isDisabled() && lastRequest_ && phone_.elapsed() - *lastRequest_ < 24h;
  }

  /// Goes through what the kit has done since the last time.
  void observe() {
    for (const simulator::Effect& effect : phone_.takeEffects()) {
      const Value& content = effect.content;
      if (effect.kind == "request") {
        require(!isFlagged_ || !lastRequest_ || effect.at - *lastRequest_ >= 24h,
                "disabled mode lets one request through in 24 hours");
        lastRequest_ = effect.at;
      } else if (effect.kind == "store" && content.at("set") == Value("KVNotificationDisable")) {
        isFlagged_ = *content.at("value").boolean();
      } else if (effect.kind == "alert") {
        ++alerts_;
      } else if (effect.kind == "backgroundTask" && content.has("begin")) {
        ++begun_;
        require(++open_ <= 1 || content.at("identifier") == Value(0),
                "one background task is open at a time");
        if (content.at("identifier") == Value(0)) --open_;
      } else if (effect.kind == "backgroundTask") {
        --open_;
      } else if (effect.kind == "log" && content == Value("Background task started")) {
        ++loops_;
      } else if (effect.kind == "screen") {
        front_ = content.has("dismiss") ? Value()
                 : content.has("push")  ? content.at("push")
                                        : content.at("present");
      }
    }
    require(phone_.shown().at("controller") == front_, "what was presented last is in front");
  }

  fuzz::Input& input_;
  simulator::SimulatedPhone phone_;
  std::optional<fuzz::Run> run_;
  bool isCustom_ = false;
  int statusBarStyle_ = 1;
  std::string colorBackground_ = "#000000";
  int closeImageSize_ = kDefaultCloseImageSize;
  std::shared_ptr<Delegate> delegate_;
  std::vector<platform::Beacon> inRange_;
  std::optional<std::chrono::milliseconds> lastRequest_;
  bool isFlagged_ = false;
  std::size_t alerts_ = 0;
  std::size_t begun_ = 0;
  std::size_t loops_ = 0;
  int open_ = 0;
  Value front_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  fuzz::Input input(bytes, size);
  Day(input).run();
  return 0;
}
