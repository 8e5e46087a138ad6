// Any bytes as the scenarios file of korvani-service, and after it as an edit of the live page.
#include <optional>
#include <stdexcept>

#include "input.h"
#include "scenarios.h"
#include "service.h"

using namespace korvani::service;
using korvani::fuzz::require;

namespace {

/// The result of the work; nothing when it fails in the one way that it may.
template <typename Work>
auto unlessRefused(Work work) -> std::optional<decltype(work())> {
  try {
    return work();
  } catch (const std::runtime_error& error) {
    const std::string_view what = error.what();
    require(!what.empty() && what.find('\n') == what.npos, "what is wrong is one line");
    return std::nullopt;
  }
}

std::string digits(std::uint16_t number) {
  char text[5];
  std::snprintf(text, sizeof text, "%04X", static_cast<unsigned>(number));
  return text;
}

/// The first scenario of a beacon is what the service answers with.
void checkAnswers(Service& service, const std::string& key, const Customer& customer) {
  for (const Scenario& scenario : customer.scenarios) {
    const Parameters report{{"major", digits(scenario.major)},
                            {"minor", digits(scenario.minor)},
                            {"event", scenario.event.value_or("IN_FAR_REGION")}};
    const Scenario* found =
        findScenario(customer, report.at("major"), report.at("minor"), report.at("event"));
    require(found && found->major == scenario.major && found->minor == scenario.minor,
            "every scenario can be reached, or one before it");
    const Json answer = service.answer("scenario", key, report).body;
    require(answer.at("success") == true, "a scenario is delivered");
    for (const auto& [name, value] : found->answer.items()) {
      require(answer.at(name) == withBase(value, "http://base"), "the answer is that of the file");
    }
    const std::string id = answer.at("scenario_history_id").dump();
    const Json confirmed = service.answer("confirm", key, {{"scenario_history_id", id}}).body;
    require(confirmed.at("success") == true, "a delivery can be confirmed");
    require(scenarioJson(readScenario(scenarioJson(scenario), "")) == scenarioJson(scenario),
            "a scenario survives being written and read again");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  korvani::fuzz::Input input(bytes, size);
  const std::string file = input.piece();
  const auto customers = unlessRefused([&] { return parseScenarios(file); });
  if (!customers) return 0;

  Service service(*customers, "http://base");
  for (const auto& [key, customer] : *customers) {
    service.answer("configuration", key, {}).body.dump();
    checkAnswers(service, key, customer);
  }

  const Json before = service.settings();
  require(Json::parse(before.dump()) == before, "the settings can be sent");
  const std::string edit = input.rest();
  const auto changed = unlessRefused([&] {
    service.change(parseJson(edit));
    return true;
  });
  require(changed || service.settings() == before, "an edit that is refused changes nothing");
  return 0;
}
