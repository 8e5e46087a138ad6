// Answers that are delayed or broken on purpose, so that a developer sees how a host bears them.
#pragma once

#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "scenarios.h"

namespace korvani::service {

struct Fault {
  std::string kind;      // one of kFaultKinds
  std::string endpoint;  // empty: any
  int seconds = 0;       // of a delay
  int count = 0;         // how many answers are still to break
};

// "delay" holds an answer back; "time-out" never gives one, "reset" breaks the connection, "status
// 500" and "malformed JSON" answer so. None but the delay counts as a delivery.
inline constexpr std::string_view kFaultKinds[] = {"delay", "time-out", "reset", "status 500",
                                                   "malformed JSON"};

// Safe from any thread.
class Faults {
 public:
  // The order `{"kind", "endpoint", "seconds", "count"}` takes the place of the one before; a count
  // of 0 ends it. Throws std::runtime_error with one line, and leaves all as it was, for another.
  void order(const Json& order);
  // What breaks the next answer of this endpoint, counted off.
  std::optional<Fault> take(std::string_view endpoint);
  // The order that stands, or null.
  Json standing() const;

 private:
  mutable std::mutex mutex_;
  Fault fault_;
};

}  // namespace korvani::service
