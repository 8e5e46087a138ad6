// What the qualification service answers, without the network: one call a request.
#pragma once

#include <deque>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "form.h"
#include "scenarios.h"

namespace korvani::service {

struct Answer {
  int status = 200;
  Json body;
};

class Service {
 public:
  // base: the service's own address, "http://host:port", for the texts that hold "${base}".
  Service(Customers customers, std::string base);

  // Whether an exchange of this name is offered: "configuration", "scenario" or "confirm".
  static bool offers(std::string_view endpoint);

  // Safe from any thread. The endpoint must be one that is offered. A key that is absent or not in
  // the file brings an "error_message" and status 403.
  Answer answer(std::string_view endpoint, const std::optional<std::string>& key,
                const Parameters& parameters);

  // What may be changed while the service runs: each key with its settings and its scenarios.
  Json settings() const;
  // Either `{"settings": {"key", "disabled", "error_message"}}`, where null leaves out, or
  // `{"scenario": {"key", "index", "scenario"}}`, where the index after the last adds one. Throws
  // std::runtime_error with one line, and changes nothing, for what is neither.
  void change(const Json& change);

 private:
  Customer& customerOf(const Json& change, const std::string& place);
  void changeSettings(const Json& settings);
  void changeScenario(const Json& change);
  Json scenario(const std::string& key, const Customer& customer, const Parameters& parameters);
  Json confirm(const std::string& key, const Parameters& parameters);

  const std::string base_;
  mutable std::mutex mutex_;
  Customers customers_;
  std::deque<std::string> deliveries_;  // the keys of the last ones
  std::size_t delivered_ = 0;           // the number of the last
};

}  // namespace korvani::service
