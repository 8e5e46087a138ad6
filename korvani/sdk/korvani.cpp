// The shared instance: its creation, its start, and the host's settings.
#include <korvani/sdk/guard.h>
#include <korvani/sdk/korvani.h>
#include <korvani/sdk/stored_keys.h>

#include <chrono>
#include <cstdio>
#include <mutex>

namespace korvani {

using platform::Value;

namespace {

constexpr std::string_view kBuiltInUUID = "5A1C0DE2-7B4E-4F19-9C3D-2E8B6F0A4D71";
constexpr std::string_view kProductionURL = KORVANI_PRODUCTION_URL;
constexpr std::string_view kQualificationURL = KORVANI_QUALIFICATION_URL;
constexpr std::chrono::seconds kLaunchNotificationDelay{1};

/// Never destroyed: request queues may still run while the process ends.
platform::Atomic<std::shared_ptr<Korvani>>& sharedReference() {
  static auto& reference = *new platform::Atomic<std::shared_ptr<Korvani>>;
  return reference;
}

Value valueOf(const std::optional<std::string>& text) { return text ? Value(*text) : Value(); }

Value valueOf(const std::optional<platform::Color>& color) {
  return color ? Value(color->hexText()) : Value();
}

}  // namespace

std::shared_ptr<Korvani> Korvani::sharedInstance() { return sharedReference().load(); }

void Korvani::initWithAPIKey(std::optional<std::string> APIKey,
                             std::shared_ptr<const platform::LocalNotification> localNotification,
                             bool isProd) {
  if (!platform::Platform::installed()) {
    std::fputs("korvani: no phone is installed, so the kit does not start\n", stderr);
    return;
  }
  guarded([&] {
    Value launch;
    if (localNotification) launch = Value().with("userInfo", localNotification->userInfo);
    tellHostCalled("initWithAPIKey", [&] {
      return Value::Dictionary{{"APIKey", valueOf(APIKey)},
                               {"localNotification", std::move(launch)},
                               {"isProd", isProd}};
    });
    static std::once_flag once;
    std::call_once(once, [] { sharedReference().store(std::shared_ptr<Korvani>(new Korvani)); });
    const std::shared_ptr<Korvani> kit = sharedInstance();
    kit->korvaniUUID_.store(std::string(kBuiltInUUID));
    if (!APIKey) {
      logLine("ERROR -- You must notify an API Key");
      return;
    }
    kit->APIKey_ = std::move(*APIKey);
    kit->urlServer_ = isProd ? kProductionURL : kQualificationURL;
    kit->initialize();
    if (localNotification && !localNotification->userInfo.isNull()) {
      phone().queues().mainQueueAfter(kLaunchNotificationDelay, [localNotification] {
        localNotificationOpened(localNotification->userInfo);
      });
    }
  });
}

void Korvani::initialize() {
  if (debug()) logLine("INITIALIZE");
  // A step that fails costs what it is for, not the whole start.
  guarded([&] {
    // What it does is for the background, whatever its name says. A second start adds it a second
    // time.
    phone().defaultNotificationCenter().addObserver(
        platform::kApplicationDidEnterBackgroundNotification,
        [kit = shared_from_this()] { guarded([&] { kit->applicationDidEnterInForeground(); }); });
  });
  standardUserDefaults_.store(&phone().standardUserDefaults());
  guarded([&] { prepareStoredKeys(); });
  dateFormatterYYYYMMDD_.emplace(phone().clock(), "yyyyMMdd");
  dateFormatterGMT_.emplace(phone().clock(), "Z");
  guarded([&] { phone().device().setBatteryMonitoringEnabled(true); });
  guarded([&] { requestConfiguration(); });
  guarded([&] { initLocationManager(); });
  guarded([&] { initBeacon(); });
}

void Korvani::prepareStoredKeys() {
  platform::UserDefaults& store = *standardUserDefaults_.load();
  const platform::Value stored = store.dictionaryRepresentation();
  if (stored.has(kDeviceRegistrationIdKey)) {
    deviceUDID_.store(stored.at(kDeviceRegistrationIdKey).plainText());
  } else {
    const std::string created = phone().randomUuids().newUuid().UUIDString();
    deviceUDID_.store(created);
    store.setObject(created, kDeviceRegistrationIdKey);
  }
  if (!stored.has(kNotificationDisableKey)) store.setObject(false, kNotificationDisableKey);
  store.synchronize();
}

void Korvani::setDelegate(std::weak_ptr<KorvaniDelegate> delegate) {
  tellHostCalled("setDelegate", [&] { return Value::Dictionary{{"value", !delegate.expired()}}; });
  if (const auto kit = sharedInstance()) kit->delegate_ = std::move(delegate);
}

void Korvani::setStatusBarStyle(int statusBarStyle) {
  tellHostCalled("setStatusBarStyle", [&] { return Value::Dictionary{{"value", statusBarStyle}}; });
  if (const auto kit = sharedInstance()) kit->statusBarStyle_ = statusBarStyle;
}

void Korvani::setColorBackground(std::optional<platform::Color> colorBackground) {
  tellHostCalled("setColorBackground", [&] {
    return Value::Dictionary{{"value", valueOf(colorBackground)}};
  });
  if (const auto kit = sharedInstance()) kit->colorBackground_ = colorBackground;
}

void Korvani::setCloseButtonImage(std::shared_ptr<const platform::Image> buttonCloseImage) {
  // A script names a file, which an image is not.
  if (!buttonCloseImage)
    tellHostCalled("setCloseButtonImage", [&] { return Value::Dictionary{{"value", nullptr}}; });
  if (const auto kit = sharedInstance()) kit->buttonCloseImage_ = std::move(buttonCloseImage);
}

void Korvani::setDebugLogEnabled(bool debug) {
  tellHostCalled("setDebugLogEnabled", [&] { return Value::Dictionary{{"value", debug}}; });
  if (const auto kit = sharedInstance()) {
    kit->debug_.store(debug);
    guarded([&] { phone().log().setDebug(debug); });
  }
}

void Korvani::setModeCustomView(bool modeCustomView) {
  tellHostCalled("setModeCustomView", [&] { return Value::Dictionary{{"value", modeCustomView}}; });
  if (const auto kit = sharedInstance()) kit->modeCustomView_ = modeCustomView;
}

void Korvani::setUserId(std::optional<std::string> userID) {
  tellHostCalled("setUserId", [&] { return Value::Dictionary{{"value", valueOf(userID)}}; });
  if (const auto kit = sharedInstance()) kit->userID_ = std::move(userID);
}

}  // namespace korvani
