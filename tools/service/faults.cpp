// Orders of broken answers, and their count.
#include "faults.h"

#include <algorithm>
#include <iterator>

#include "service.h"

namespace korvani::service {
namespace {

constexpr int kMostSeconds = 60;
constexpr int kMostAnswers = 1000;

}  // namespace

void Faults::order(const Json& order) {
  const std::string place = "break";
  requireObject(order, place, {"kind", "endpoint", "seconds", "count"});
  Fault fault;
  fault.kind = readText(order, "kind", place);
  if (std::find(std::begin(kFaultKinds), std::end(kFaultKinds), fault.kind) ==
      std::end(kFaultKinds)) {
    fail(place, "kind is not one that is known");
  }
  fault.endpoint = readText(order, "endpoint", place);
  if (!fault.endpoint.empty() && !Service::offers(fault.endpoint)) {
    fail(place, "endpoint is not one that is offered");
  }
  fault.seconds = static_cast<int>(readInteger(order, "seconds", kMostSeconds, place));
  fault.count = static_cast<int>(readInteger(order, "count", kMostAnswers, place));
  const std::lock_guard lock(mutex_);
  fault_ = fault;
}

std::optional<Fault> Faults::take(std::string_view endpoint) {
  const std::lock_guard lock(mutex_);
  const bool meant = fault_.endpoint.empty() || fault_.endpoint == endpoint;
  if (fault_.count == 0 || !meant) return std::nullopt;
  --fault_.count;
  return fault_;
}

Json Faults::standing() const {
  const std::lock_guard lock(mutex_);
  if (fault_.count == 0) return nullptr;
  return {{"kind", fault_.kind},
          {"endpoint", fault_.endpoint},
          {"seconds", fault_.seconds},
          {"count", fault_.count}};
}

}  // namespace korvani::service
