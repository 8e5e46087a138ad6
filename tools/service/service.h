// What the qualification service answers, without the network: one call a request.
#pragma once

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

 private:
  Json scenario(const std::string& key, const Customer& customer, const Parameters& parameters);
  Json confirm(const std::string& key, const Parameters& parameters);

  const Customers customers_;
  const std::string base_;
  std::mutex mutex_;
  std::vector<std::string> deliveries_;  // the key of delivery n at n - 1
};

}  // namespace korvani::service
