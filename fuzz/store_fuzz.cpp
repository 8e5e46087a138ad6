// Any values in the store as an earlier run, or the host, may have left them: then a start, a
// beacon and an opening.
#include <korvani/sdk/korvani.h>
#include <korvani/sdk/stored_keys.h>

#include <optional>

#include "form.h"
#include "input.h"
#include "watched_phone.h"

using namespace korvani;
using namespace std::chrono_literals;
using fuzz::require;
using platform::Value;

namespace {

const auto kStart = simulator::SimulatedPhone::kDefaultStart;

/// The UUID of the region that the start sets up, if any.
std::optional<Value> monitored(const simulator::SimulatedPhone& phone) {
  for (const Value& content : phone.contents("location")) {
    if (content.at("operation") == Value("startMonitoringForRegion")) {
      return content.at("region").at("proximityUUID");
    }
  }
  return std::nullopt;
}

void checkRegion(const simulator::SimulatedPhone& phone, const Value& stored) {
  const auto uuid = platform::Uuid::fromString(
      stored.isNull() ? "5A1C0DE2-7B4E-4F19-9C3D-2E8B6F0A4D71" : stored.plainText());
  // What is no UUID keeps the region that an earlier start has set up.
  if (uuid) require(monitored(phone) == Value(uuid->UUIDString()), "the stored UUID is watched");
}

void checkReports(const simulator::SimulatedPhone& phone, const Value& registration) {
  for (const Value& request : phone.contents("request")) {
    if (!request.at("url").text()->ends_with("/scenario")) continue;
    const auto report = service::decodeForm(*request.at("body").text());
    const Value sent = Value(report.at("device_registration_id"));
    // The JSON text is where bytes that are no UTF-8 are replaced, as they are on the way.
    require(sent.jsonText() == Value(registration.plainText()).jsonText(),
            "a report bears the identifier that is stored");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  fuzz::Input input(bytes, size);
  simulator::SimulatedPhone phone(kStart);
  Value::Dictionary stored;
  for (const std::string_view key : {kDeviceRegistrationIdKey, kNotificationDisableKey,
                                     kLastRequestKey, kLastRequestConfigKey, kKorvaniUUIDKey}) {
    if (!input.flag()) continue;
    stored.emplace(key, input.value());
    phone.setStored(key, stored.find(key)->second);
  }
  const Value before(stored);
  const Value scenario = input.value().with("scenario_history_id", input.value());

  fuzz::Run run(phone);
  const auto now = [&](std::string_view key) {
    return phone.standardUserDefaults().objectForKey(key);
  };
  require(now(kNotificationDisableKey) ==
              (before.has(kNotificationDisableKey) ? before.at(kNotificationDisableKey) : false),
          "the start keeps disabled mode");
  const Value registration = now(kDeviceRegistrationIdKey);
  if (before.has(kDeviceRegistrationIdKey)) {
    require(registration == before.at(kDeviceRegistrationIdKey), "the start keeps the identifier");
  } else {
    require(platform::Uuid::fromString(registration.plainText()).has_value(),
            "the start makes an identifier");
  }
  checkRegion(phone, before.at(kKorvaniUUIDKey));

  const auto* lastRequest = before.at(kLastRequestKey).date();
  const bool isDisabled = before.at(kNotificationDisableKey).booleanReading();
  const bool isBlocked = isDisabled && lastRequest && *lastRequest > kStart - 24h;
  const auto* configured = before.at(kLastRequestConfigKey).date();
  const auto day = [](platform::Date date) { return std::chrono::floor<std::chrono::days>(date); };
  const bool asks = !isBlocked && !(configured && day(*configured) >= day(kStart));
  require(run.requests("configuration") == (asks ? 1 : 0), "the configuration is asked for daily");

  run.range({fuzz::beacon(1, platform::kProximityNear)});
  // In disabled mode the first request is the only one.
  const bool reports = !isBlocked && !(isDisabled && asks);
  require(run.requests("scenario") == (reports ? 1 : 0), "a beacon is reported");
  checkReports(phone, registration);
  run.openAlone(scenario);
  require(run.requests("confirm") == (isDisabled ? 0 : 1), "an opening is confirmed");

  // Once more, with lines that describe what is stored.
  Korvani::setDebugLogEnabled(true);
  Korvani::initWithAPIKey("key", nullptr, true);
  phone.advance(1s);
  return 0;
}
