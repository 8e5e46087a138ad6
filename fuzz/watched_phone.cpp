// The phone in between, and the watch.
#include "watched_phone.h"

#include <korvani/net/form_encoding.h>
#include <korvani/sdk/korvani.h>
#include <korvani/sdk/stored_keys.h>

#include <algorithm>
#include <map>
#include <set>
#include <stdexcept>
#include <utility>

#include "form.h"
#include "input.h"

namespace korvani::fuzz {
namespace {

using platform::Value;
using simulator::SimulatedPhone;

/// Ends the loop that reports the background time, which else would go on for ever.
constexpr const char* kEndOfSleep = "this clock does not sleep";

class WatchedPhone final : public platform::Platform,
                           private platform::Log,
                           private platform::Clock,
                           private platform::Queues,
                           private platform::UserDefaults,
                           private platform::URLConnection {
 public:
  void begin(SimulatedPhone& phone) {
    phone_ = &phone;
    asked_.clear();
    errorMessages_ = 0;
    accepted_ = 0;
  }
  /// A duplicate may have been posted after its answer.
  void end() {
    const auto notifications = phone_->notifications();
    const auto told = std::count_if(
        notifications.begin(), notifications.end(),
        [](const auto& one) { return one.userInfo.at("KVBeaconNotification") == Value(true); });
    require(static_cast<std::size_t>(told) == accepted_,
            "there are as many notifications as accepted scenarios");
    phone_ = nullptr;
  }

  std::size_t requests(std::string_view endpoint) const {
    if (!endpoint.empty()) return asked_.contains(endpoint) ? asked_.find(endpoint)->second : 0;
    std::size_t sum = 0;
    for (const auto& [name, count] : asked_) sum += count;
    return sum;
  }
  std::size_t errorMessages() const { return errorMessages_; }

 private:
  Log& log() override { return *this; }
  Clock& clock() override { return *this; }
  UserDefaults& standardUserDefaults() override { return *this; }
  URLConnection& urlConnection() override { return *this; }
  platform::RandomUuids& randomUuids() override { return phone_->randomUuids(); }
  platform::NotificationCenter& defaultNotificationCenter() override {
    return phone_->defaultNotificationCenter();
  }
  Queues& queues() override { return *this; }
  platform::JSONSerialization& json() override { return phone_->json(); }
  platform::ImageDecoder& images() override { return phone_->images(); }
  platform::LocationService& locationService() override { return phone_->locationService(); }
  platform::Device& device() override { return phone_->device(); }
  platform::Application& application() override { return phone_->application(); }
  platform::WebViews& webViews() override { return phone_->webViews(); }

  void write(std::string_view line) override {
    require(!line.starts_with("ERROR - dropped after an exception") || line.ends_with(kEndOfSleep),
            "the kit drops nothing after an exception");
    phone_->log().write(line);
  }

  platform::Date now() const override { return phone_->clock().now(); }
  std::chrono::minutes utcOffset(platform::Date date) const override {
    return phone_->clock().utcOffset(date);
  }
  void sleepFor(std::chrono::milliseconds) override { throw std::runtime_error(kEndOfSleep); }

  // Every queue is the main one: changing threads would take most of the time.
  platform::Queue& mainQueue() override { return phone_->queues().mainQueue(); }
  void mainQueueAfter(std::chrono::milliseconds delay, platform::Job job) override {
    phone_->queues().mainQueueAfter(delay, std::move(job));
  }
  platform::Queue& globalQueue(platform::QueuePriority) override { return mainQueue(); }
  std::shared_ptr<platform::Queue> newOperationQueue() override {
    return {std::shared_ptr<void>(), &mainQueue()};
  }

  UserDefaults& store() const { return phone_->standardUserDefaults(); }
  Value objectForKey(std::string_view key) const override { return store().objectForKey(key); }
  void setObject(const Value& value, std::string_view key) override {
    store().setObject(value, key);
  }
  void synchronize() override { store().synchronize(); }
  Value dictionaryRepresentation() const override { return store().dictionaryRepresentation(); }

  std::optional<std::string> dataWithContentsOfURL(const platform::URL& url) override {
    return phone_->urlConnection().dataWithContentsOfURL(url);
  }
  void sendAsynchronousRequest(platform::URLRequest request, std::shared_ptr<platform::Queue> queue,
                               CompletionHandler handler) override {
    require(!isAnswering_, "no answer leads to a request");
    const std::string endpoint = request.url.substr(request.url.rfind('/') + 1);
    checkRequest(request, endpoint);
    ++asked_[endpoint];
    phone_->urlConnection().sendAsynchronousRequest(
        std::move(request), std::move(queue),
        [this, endpoint, handler = std::move(handler)](const platform::URLResponse& response) {
          answered(endpoint, response, handler);
        });
  }

  static void checkRequest(const platform::URLRequest& request, const std::string& endpoint) {
    require(request.HTTPMethod == "POST", "a request is a POST");
    require(request.headers.size() == 1 && request.headers[0].first == "X-Api-Key",
            "a request has the key's header alone");
    if (endpoint == "configuration") {
      require(!request.HTTPBody, "the configuration is asked for without a body");
      return;
    }
    require(request.HTTPBody.has_value(), "a request has a body");
    std::set<std::string> keys;
    for (const auto& [key, value] : service::decodeForm(*request.HTTPBody)) keys.insert(key);
    if (endpoint == "confirm") {
      require(keys == std::set<std::string>{"scenario_history_id", "timezone"},
              "a confirmation has its two parameters");
      return;
    }
    require(endpoint == "scenario", "there are three exchanges");
    require((keys.erase("latitude") == 1) == (keys.erase("longitude") == 1),
            "a report has both parts of a position, or none");
    keys.erase("user_id");
    require(keys == std::set<std::string>{"battery_level", "device_registration_id", "device_type",
                                          "event", "locale", "major", "minor", "timezone", "uuid"},
            "a report has its nine parameters");
  }

  void answered(const std::string& endpoint, const platform::URLResponse& response,
                const CompletionHandler& handler) {
    const auto stored = [&](std::string_view key) { return objectForKey(key); };
    const Value flag = stored(kNotificationDisableKey);
    const Value uuid = stored(kKorvaniUUIDKey);
    const Value configured = stored(kLastRequestConfigKey);
    const std::size_t located = locationEffects();
    const std::size_t notified = phone_->notifications().size();
    isAnswering_ = true;
    handler(response);
    isAnswering_ = false;

    Value answer = response.error ? Value() : json().JSONObjectWithData(response.data);
    require(json().JSONObjectWithData(answer.jsonText()) == answer,
            "an answer survives being written and read again");
    if (answer.has("error_message")) {
      ++errorMessages_;
      answer = Value();
    }
    require(stored(kNotificationDisableKey) ==
                (answer.has("disabled") ? Value(answer.at("disabled").booleanReading()) : flag),
            "disabled mode is what the answer says");

    const bool isScenario = endpoint == "scenario" && answer.at("success").booleanReading() &&
                            answer.has("notification_text");
    const auto notifications = phone_->notifications();
    require(notifications.size() == notified + (isScenario ? 1 : 0),
            "an accepted scenario is told once, and nothing else is");
    if (isScenario) {
      ++accepted_;
      require(notifications.back().userInfo == answer.with("KVBeaconNotification", true),
              "a notification carries the scenario");
    }

    const std::string* sent =
        endpoint == "configuration" ? answer.at("korvani_uuid").text() : nullptr;
    constexpr std::size_t kDigits = 32;
    if (!sent || sent->size() < kDigits) {
      require(stored(kKorvaniUUIDKey) == uuid && stored(kLastRequestConfigKey) == configured,
              "only a configuration changes the UUID and its date");
      require(locationEffects() == located, "only a configuration sets up the region");
    } else if (std::all_of(sent->begin(), sent->begin() + kDigits,
                           [](char c) { return c > 0 && c != '-'; })) {
      std::string taken = stored(kKorvaniUUIDKey).plainText();
      std::erase(taken, '-');
      require(taken == sent->substr(0, kDigits), "the configured UUID is kept");
    }
  }

  /// Of those that are in the list: where a run hands its effects on, there are none.
  std::size_t locationEffects() const {
    const auto& effects = phone_->effects();
    return static_cast<std::size_t>(
        std::count_if(effects.begin(), effects.end(),
                      [](const simulator::Effect& one) { return one.kind == "location"; }));
  }

  SimulatedPhone* phone_ = nullptr;
  bool isAnswering_ = false;
  std::map<std::string, std::size_t, std::less<>> asked_;
  std::size_t errorMessages_ = 0;
  /// Scenarios that are to be told.
  std::size_t accepted_ = 0;
};

WatchedPhone& watchedPhone() {
  static const auto phone = [] {
    auto made = std::make_shared<WatchedPhone>();
    platform::Platform::install(made);
    return made;
  }();
  return *phone;
}

}  // namespace

Run::Run(SimulatedPhone& phone) : phone_(phone) {
  watchedPhone().begin(phone);
  phone.setLocalNotificationOpenedHandler(&Korvani::didReceiveLocalNotification);
  Korvani::initWithAPIKey("key", nullptr, false);
}

Run::~Run() {
  phone_.advance({});
  phone_.expireBackgroundTime();
  Korvani::didBecomeActive();
  Korvani::setDelegate({});
  Korvani::setStatusBarStyle(1);
  Korvani::setColorBackground({});
  Korvani::setCloseButtonImage(nullptr);
  Korvani::setDebugLogEnabled(false);
  Korvani::setModeCustomView(false);
  Korvani::setUserId({});
  // The kit remembers the last result that was not empty: one that no run has.
  range({beacon(0xFFFF, platform::kProximityUnknown)});
  watchedPhone().end();
}

void Run::range(const std::vector<platform::Beacon>& beacons) {
  platform::LocationManagerDelegate& kit = *Korvani::sharedInstance();
  kit.locationManagerDidRangeBeacons(nullptr, beacons, nullptr);
}

void Run::openAlone(const Value& scenario) {
  phone_.advance({});
  const bool wasCovered = !phone_.shown().isNull();
  Korvani::didReceiveLocalNotification(scenario);
  phone_.advance({});

  const Value shown = phone_.shown();
  const Value& type = scenario.at("type");
  const auto urlIn = [](const Value& value) {
    return value.text() ? platform::URL::URLWithString(*value.text()) : std::nullopt;
  };
  const Value& pageAddress = scenario.at("url");
  const auto imageAddress = urlIn(scenario.at("image").at("url"));
  const auto& files = phone_.settings().files;
  const auto file = imageAddress ? files.find(imageAddress->absoluteString()) : files.end();
  if (type == Value("WVW") && pageAddress.text()) {
    require(shown.at("controller") == Value("KorvaniWebView"), "a page is in front");
    const auto url = urlIn(pageAddress);
    const auto& views = *shown.at("views").array();
    require(views.back().at("url") == (url ? Value(url->absoluteString()) : Value()),
            "the page is the one that was named");
  } else if (type == Value("IMG") && file != files.end() &&
             phone_.images().imageWithData(file->second, 1)) {
    require(shown.at("controller") == Value("KorvaniView"), "an image is in front");
    const auto& views = *shown.at("views").array();
    require(!views[1].at("image").isNull(), "the image is there");
  } else if (type == Value("URI")) {
    require(shown.isNull(), "nothing is in front of a URI");
  } else {
    require(shown.isNull() != wasCovered, "what shows nothing leaves the screen as it is");
  }
}

std::size_t Run::requests(std::string_view endpoint) const {
  return watchedPhone().requests(endpoint);
}

std::size_t Run::errorMessages() const { return watchedPhone().errorMessages(); }

platform::Beacon beacon(int minor, int proximity) {
  static const auto uuid = platform::Uuid::fromString("5A1C0DE2-7B4E-4F19-9C3D-2E8B6F0A4D71");
  platform::Beacon made;
  made.proximityUUID = *uuid;
  made.major = 1;
  made.minor = static_cast<std::uint16_t>(minor);
  made.proximity = proximity;
  return made;
}

}  // namespace korvani::fuzz
