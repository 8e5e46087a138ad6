// The three exchanges. What is remembered is which scenario was delivered to which key.
#include "service.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <utility>

namespace korvani::service {
namespace {

constexpr std::array<std::string_view, 3> kEndpoints = {"configuration", "scenario", "confirm"};

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
    : customers_(std::move(customers)), base_(std::move(base)) {}

bool Service::offers(std::string_view endpoint) {
  return std::find(kEndpoints.begin(), kEndpoints.end(), endpoint) != kEndpoints.end();
}

Answer Service::answer(std::string_view endpoint, const std::optional<std::string>& key,
                       const Parameters& parameters) {
  const auto found = key ? customers_.find(*key) : customers_.end();
  if (found == customers_.end()) {
    return {403,
            {{"error_message", key ? "This API key is not known." : "The API key is missing."}}};
  }
  const Customer& customer = found->second;
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
  {
    const std::lock_guard lock(mutex_);
    deliveries_.push_back(key);
    answer["scenario_history_id"] = deliveries_.size();
  }
  answer.update(withBase(found->answer, base_));
  return answer;
}

Json Service::confirm(const std::string& key, const Parameters& parameters) {
  const std::string_view text = valueOf(parameters, "scenario_history_id");
  std::size_t id = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), id);
  const bool isNumber = error == std::errc() && end == text.data() + text.size();
  const std::lock_guard lock(mutex_);
  const bool delivered =
      isNumber && id >= 1 && id <= deliveries_.size() && deliveries_[id - 1] == key;
  return {{"success", delivered}};
}

}  // namespace korvani::service
