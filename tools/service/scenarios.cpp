// Reading of the scenarios file. It is strict, so that a misspelt key or event is found at the
// start and not by a beacon that stays silent.
#include "scenarios.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace korvani::service {
namespace {

constexpr std::string_view kBase = "${base}";
constexpr std::array kEvents = {"IN_IMMEDIATE_REGION", "IN_NEAR_REGION", "IN_FAR_REGION"};

bool isHex(char c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
}

std::uint16_t readNumber(const Json& scenario, const char* key, const std::string& place) {
  const Json value = scenario.value(key, Json());
  std::optional<std::uint16_t> number;
  if (value.is_string()) number = beaconNumber(value.get_ref<const std::string&>());
  if (value.is_number_unsigned() && value.get<std::uint64_t>() <= 0xFFFF) {
    number = value.get<std::uint16_t>();
  }
  if (!number) fail(place, std::string(key) + " is neither a number up to 65535 nor hex digits");
  return *number;
}

std::string readEvent(const Json& scenario, const std::string& place) {
  std::string event = readText(scenario, "event", place);
  if (std::find(kEvents.begin(), kEvents.end(), event) == kEvents.end()) {
    fail(place, "event is none of IN_IMMEDIATE_REGION, IN_NEAR_REGION and IN_FAR_REGION");
  }
  return event;
}

Json readAnswer(const Json& scenario, const std::string& place) {
  const Json answer = scenario.value("answer", Json());
  if (!answer.is_object()) fail(place, "answer is not an object");
  for (const char* key : {"success", "scenario_history_id", "disabled"}) {
    if (answer.contains(key)) fail(place, std::string(key) + " is the service's to give");
  }
  return answer;
}

Customer readCustomer(const Json& value, const std::string& place) {
  requireObject(value, place, {"korvani_uuid", "disabled", "scenarios"});
  Customer customer;
  if (value.contains("korvani_uuid")) {
    const Json& uuid = value["korvani_uuid"];
    customer.korvaniUUID = uuid.is_string() ? uuid.get<std::string>() : "";
    if (customer.korvaniUUID->size() != 32 ||
        !std::all_of(customer.korvaniUUID->begin(), customer.korvaniUUID->end(), isHex)) {
      fail(place, "korvani_uuid is not 32 hex digits");
    }
  }
  if (value.contains("disabled")) customer.disabled = value["disabled"];
  const Json scenarios = value.value("scenarios", Json::array());
  if (!scenarios.is_array()) fail(place, "scenarios is not a list");
  for (std::size_t i = 0; i < scenarios.size(); ++i) {
    customer.scenarios.push_back(
        readScenario(scenarios[i], place + ".scenarios[" + std::to_string(i) + "]"));
  }
  return customer;
}

}  // namespace

Customers parseScenarios(std::string_view text) {
  const Json file = parseJson(text);
  requireObject(file, "the file", {"keys"});
  const Json keys = file.value("keys", Json());
  if (!keys.is_object()) fail("keys", "is not an object");
  Customers customers;
  for (const auto& [key, value] : keys.items()) {
    customers[key] = readCustomer(value, "keys." + Json(key).dump());
  }
  return customers;
}

Scenario readScenario(const Json& value, const std::string& place) {
  requireObject(value, place, {"major", "minor", "event", "answer"});
  Scenario scenario;
  scenario.major = readNumber(value, "major", place);
  scenario.minor = readNumber(value, "minor", place);
  if (value.contains("event")) scenario.event = readEvent(value, place);
  scenario.answer = readAnswer(value, place);
  return scenario;
}

Json scenarioJson(const Scenario& scenario) {
  Json value = {{"major", scenario.major}, {"minor", scenario.minor}};
  if (scenario.event) value["event"] = *scenario.event;
  value["answer"] = scenario.answer;
  return value;
}

std::optional<std::uint16_t> beaconNumber(std::string_view digits) {
  if (digits.empty() || digits.size() > 4 || !std::all_of(digits.begin(), digits.end(), isHex)) {
    return std::nullopt;
  }
  std::uint16_t number = 0;
  std::from_chars(digits.data(), digits.data() + digits.size(), number, 16);
  return number;
}

const Scenario* findScenario(const Customer& customer, std::string_view major,
                             std::string_view minor, std::string_view event) {
  const auto majorNumber = beaconNumber(major);
  const auto minorNumber = beaconNumber(minor);
  for (const Scenario& scenario : customer.scenarios) {
    if (scenario.major == majorNumber && scenario.minor == minorNumber &&
        scenario.event.value_or(std::string(event)) == event) {
      return &scenario;
    }
  }
  return nullptr;
}

Json withBase(Json value, const std::string& base) {
  if (value.is_string()) {
    auto& text = value.get_ref<std::string&>();
    for (auto at = text.find(kBase); at != std::string::npos; at = text.find(kBase, at)) {
      text.replace(at, kBase.size(), base);
      at += base.size();
    }
  } else if (value.is_structured()) {
    for (Json& inner : value) inner = withBase(std::move(inner), base);
  }
  return value;
}

}  // namespace korvani::service
