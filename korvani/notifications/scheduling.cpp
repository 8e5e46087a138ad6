// A scenario becomes a local notification that carries it whole.
#include <korvani/sdk/guard.h>
#include <korvani/sdk/korvani.h>

namespace korvani {

using platform::Value;

namespace {

/// A resource of the host.
constexpr const char* kSoundName = "notificationKorvaniSound.caf";

void schedule(std::string alertBody, Value userInfo) {
  phone().application().scheduleLocalNotification(
      {std::move(alertBody), kSoundName, std::move(userInfo)});
}

}  // namespace

void Korvani::sendLocalNotificationWithUserInfo(const Value& scenario) const {
  const Value& text = scenario.at("notification_text");
  schedule(text.isNull() ? "" : text.plainText(), scenario.with("KVBeaconNotification", true));
}

void Korvani::sendLocalNotification(const std::string& text) const {
  tellHostCalled("sendLocalNotification", [&] { return Value::Dictionary{{"text", text}}; });
  guarded([&] { schedule(text, {}); });
}

}  // namespace korvani
