// The scenarios file: which API keys there are, and what each customer's beacons bring. The
// format is described in docs/service.md; demo/scenarios.json is a commented example.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "reading.h"

namespace korvani::service {

struct Scenario {
  std::uint16_t major = 0;
  std::uint16_t minor = 0;
  std::optional<std::string> event;  // absent: any event
  Json answer;                       // an object
};

struct Customer {
  std::optional<std::string> korvaniUUID;   // 32 hexadecimal digits
  std::optional<Json> disabled;             // of any kind; sent with every answer when there is one
  std::optional<std::string> errorMessage;  // sent in place of every answer when there is one
  std::vector<Scenario> scenarios;          // the first that matches counts
};

using Customers = std::map<std::string, Customer>;  // by API key

// Throws std::runtime_error with one line that names the place, for text that is not JSON (with
// comments) or not such a file.
Customers parseScenarios(std::string_view text);

// One scenario as it stands in the file, and back. The place begins what is wrong with it.
Scenario readScenario(const Json& value, const std::string& place);
Json scenarioJson(const Scenario& scenario);

// A beacon's major or minor as it travels: one to four hexadecimal digits, or none.
std::optional<std::uint16_t> beaconNumber(std::string_view digits);

// The scenario of a reported beacon, or null. The result lives as long as the customer.
const Scenario* findScenario(const Customer& customer, std::string_view major,
                             std::string_view minor, std::string_view event);

// The value with every "${base}" in its texts replaced.
Json withBase(Json value, const std::string& base);

}  // namespace korvani::service
