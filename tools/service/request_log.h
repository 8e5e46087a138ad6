// The log of requests: one JSON object a line, flushed at once, so that a test or the
// demonstration can read what was asked and answered while the service still runs. Those who watch
// the live page are told the same.
#pragma once

#include <fstream>
#include <mutex>
#include <optional>
#include <ostream>
#include <string>

#include "feed.h"
#include "form.h"
#include "scenarios.h"

namespace korvani::service {

struct RequestRecord {
  std::string method;
  std::string endpoint;            // the path without its leading "/"
  std::optional<std::string> key;  // "X-Api-Key" as sent; absent when the header is
  Parameters parameters;
  int status = 0;  // 0: no answer, on purpose
  Json answer;     // null when the answer is not JSON (an image, a page)
  std::optional<std::string> broken = std::nullopt;  // how the answer was broken on purpose
};

// One line without its end. Bytes that are not UTF-8 become U+FFFD.
std::string logLine(const RequestRecord& record, const std::string& time);

class RequestLog {
 public:
  // Appends to the file, or writes to standard error when the name is empty. Throws
  // std::runtime_error when the file cannot be opened. The feed must live as long.
  RequestLog(const std::string& file, Feed& feed);

  // Safe from any thread. A line that cannot be written is dropped, said once on standard error.
  void write(const RequestRecord& record);

 private:
  Feed& feed_;
  std::ofstream file_;
  std::ostream& out_;
  std::mutex mutex_;
  bool failed_ = false;
};

}  // namespace korvani::service
