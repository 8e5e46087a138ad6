// The three exchanges. What is remembered is which of the last scenarios was delivered to which
// key.
#include "service.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

namespace korvani::service {
namespace {

constexpr std::array<std::string_view, 3> kEndpoints = {"configuration", "scenario", "confirm"};
constexpr std::size_t kMostDeliveries = 100'000;
constexpr std::size_t kMostScenarios = 1000;  // of one key
constexpr std::size_t kMostScenarioBytes = 64 * 1024;
constexpr std::size_t kMostMessageBytes = 1000;

std::string_view valueOf(const Parameters& parameters, const std::string& key) {
  const auto found = parameters.find(key);
  return found == parameters.end() ? std::string_view() : found->second;
}

Json configuration(const Customer& customer) {
  Json answer = {{"success", true}};
  if (customer.korvaniUUID) answer["korvani_uuid"] = *customer.korvaniUUID;
  return answer;
}

}  // namespace

Service::Service(Customers customers, std::string base)
    : base_(std::move(base)), customers_(std::move(customers)) {}

bool Service::offers(std::string_view endpoint) {
  return std::find(kEndpoints.begin(), kEndpoints.end(), endpoint) != kEndpoints.end();
}

Answer Service::answer(std::string_view endpoint, const std::optional<std::string>& key,
                       const Parameters& parameters) {
  const std::lock_guard lock(mutex_);
  const auto found = key ? customers_.find(*key) : customers_.end();
  if (found == customers_.end()) {
    return {403,
            {{"error_message", key ? "This API key is not known." : "The API key is missing."}}};
  }
  const Customer& customer = found->second;
  if (customer.errorMessage) return {200, {{"error_message", *customer.errorMessage}}};
  Json body = endpoint == "configuration" ? configuration(customer)
              : endpoint == "scenario"    ? scenario(*key, customer, parameters)
                                          : confirm(*key, parameters);
  if (customer.disabled) body["disabled"] = *customer.disabled;
  return {200, std::move(body)};
}

Json Service::scenario(const std::string& key, const Customer& customer,
                       const Parameters& parameters) {
  const Scenario* found = findScenario(customer, valueOf(parameters, "major"),
                                       valueOf(parameters, "minor"), valueOf(parameters, "event"));
  if (!found) return {{"success", false}};
  Json answer = {{"success", true}};
  deliveries_.push_back(key);
  if (deliveries_.size() > kMostDeliveries) deliveries_.pop_front();
  answer["scenario_history_id"] = ++delivered_;
  answer.update(withBase(found->answer, base_));
  return answer;
}

Json Service::confirm(const std::string& key, const Parameters& parameters) {
  const std::string_view text = valueOf(parameters, "scenario_history_id");
  std::size_t id = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), id);
  const bool isNumber = error == std::errc() && end == text.data() + text.size();
  const bool delivered = isNumber && id >= 1 && id <= delivered_ &&
                         delivered_ - id < deliveries_.size() &&
                         deliveries_[deliveries_.size() - 1 - (delivered_ - id)] == key;
  return {{"success", delivered}};
}

Json Service::settings() const {
  const std::lock_guard lock(mutex_);
  Json keys = Json::object();
  for (const auto& [key, customer] : customers_) {
    Json scenarios = Json::array();
    for (const Scenario& one : customer.scenarios) scenarios.push_back(scenarioJson(one));
    keys[key] = {{"disabled", customer.disabled.value_or(Json())},
                 {"error_message", customer.errorMessage ? Json(*customer.errorMessage) : Json()},
                 {"scenarios", std::move(scenarios)}};
  }
  return keys;
}

void Service::change(const Json& change) {
  requireObject(change, "the change", {"settings", "scenario"});
  if (change.size() != 1) fail("the change", "is not one of settings and scenario");
  const std::lock_guard lock(mutex_);
  change.contains("settings") ? changeSettings(change["settings"])
                              : changeScenario(change["scenario"]);
}

Customer& Service::customerOf(const Json& change, const std::string& place) {
  const auto found = customers_.find(readText(change, "key", place));
  if (found == customers_.end()) fail(place, "key is not known");
  return found->second;
}

void Service::changeSettings(const Json& settings) {
  const std::string place = "settings";
  requireObject(settings, place, {"key", "disabled", "error_message"});
  Customer& customer = customerOf(settings, place);
  const Json disabled = settings.value("disabled", Json());
  if (!disabled.is_null() && !disabled.is_boolean()) fail(place, "disabled is no true or false");
  std::optional<std::string> message;
  if (!settings.value("error_message", Json()).is_null()) {
    message = readText(settings, "error_message", place);
    if (message->size() > kMostMessageBytes) fail(place, "error_message is too long");
  }
  customer.disabled = disabled.is_null() ? std::nullopt : std::optional<Json>(disabled);
  customer.errorMessage = std::move(message);
}

void Service::changeScenario(const Json& change) {
  const std::string place = "scenario";
  requireObject(change, place, {"key", "index", "scenario"});
  Customer& customer = customerOf(change, place);
  const std::size_t most = std::min(customer.scenarios.size(), kMostScenarios - 1);
  const std::size_t index = readInteger(change, "index", most, place);
  const Json value = change.value("scenario", Json());
  Scenario scenario = readScenario(value, place);
  if (value.dump().size() > kMostScenarioBytes) fail(place, "is too long");
  if (index == customer.scenarios.size()) customer.scenarios.emplace_back();
  customer.scenarios[index] = std::move(scenario);
}

}  // namespace korvani::service
