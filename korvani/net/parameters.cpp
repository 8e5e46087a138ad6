// The parameter record of a reported beacon, whole and short.
#include <korvani/net/parameters.h>
#include <korvani/sdk/guard.h>
#include <korvani/sdk/korvani.h>

#include <array>
#include <charconv>
#include <cmath>

namespace korvani {
namespace {

/// Six decimals, with a point whatever the locale of the process.
std::string degreesText(double degrees) {
  std::array<char, 400> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), degrees,
                                 std::chars_format::fixed, 6);
  return std::string(digits.data(), end.ptr);
}

}  // namespace

std::string beaconIdentifierText(std::uint16_t identifier) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  return {kDigits[identifier >> 12], kDigits[(identifier >> 8) & 15],
          kDigits[(identifier >> 4) & 15], kDigits[identifier & 15]};
}

std::optional<std::string> proximityWord(int proximity) {
  switch (proximity) {
    case platform::kProximityUnknown:
      return std::nullopt;
    case platform::kProximityImmediate:
      return "IN_IMMEDIATE_REGION";
    case platform::kProximityNear:
      return "IN_NEAR_REGION";
    case platform::kProximityFar:
      return "IN_FAR_REGION";
    default:
      return "";
  }
}

std::int32_t batteryPercent(float batteryLevel) {
  constexpr float kUnknown = -1;
  // What no 32-bit number could hold is no level.
  const bool isLevel = std::isfinite(batteryLevel) && std::fabs(batteryLevel) < 1e6F;
  const float level = isLevel ? batteryLevel : kUnknown;
  return static_cast<std::int32_t>(std::round(static_cast<double>(level * 100.0F)));
}

Record Korvani::scenarioRecord(const platform::Beacon& beacon, std::string event) const {
  const auto manager = locationManager_.load();
  const auto location = manager ? manager->location() : std::nullopt;
  platform::Device& device = phone().device();
  Record record{
      {"uuid", beacon.proximityUUID.UUIDString()},
      {"major", beaconIdentifierText(beacon.major)},
      {"minor", beaconIdentifierText(beacon.minor)},
      {"battery_level", std::to_string(batteryPercent(device.batteryLevel()))},
      {"event", std::move(event)},
      {"locale", device.localeIdentifier()},
      {"device_type", "iOS"},
      {"device_registration_id", deviceUDID_.load()},
      {"timezone", dateFormatterGMT_->stringFromDate(phone().clock().now())},
  };
  if (location) {
    record.emplace_back("latitude", degreesText(location->latitude));
    record.emplace_back("longitude", degreesText(location->longitude));
  }
  if (userID_) record.emplace_back("user_id", *userID_);
  return record;
}

std::optional<Record> Korvani::formParamForRequestAPIwithBeacon(const platform::Beacon& beacon,
                                                                const std::string& proximity,
                                                                platform::Date) const {
  std::optional<Record> record;
  const bool started = dateFormatterGMT_.has_value();
  if (!started || proximity == "UNKNOWN") return record;
  guarded([&] { record = scenarioRecord(beacon, proximity); });
  return record;
}

std::optional<Record> Korvani::formParamForServicesWithBeacon(
    const platform::Beacon& beacon) const {
  const auto event = proximityWord(beacon.proximity);
  if (!event || beacon.minor == 0 || beacon.major == 0) return std::nullopt;
  std::optional<Record> record;
  guarded([&] {
    std::string uuid = beacon.proximityUUID.UUIDString();
    std::erase(uuid, '-');
    record = Record{{"uuid", uuid},
                    {"major", beaconIdentifierText(beacon.major)},
                    {"minor", beaconIdentifierText(beacon.minor)},
                    {"event", *event}};
  });
  return record;
}

}  // namespace korvani
