// Writing of the request log; times are UTC with milliseconds.
#include "request_log.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <iostream>
#include <stdexcept>

namespace korvani::service {
namespace {

constexpr std::size_t kMostWatchedBytes = 64 * 1024;

std::string currentTime() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  const auto milliseconds = std::chrono::duration_cast<std::chrono::milliseconds>(now).count();
  const std::time_t seconds = milliseconds / 1000;
  std::tm parts = {};
  gmtime_r(&seconds, &parts);
  char date[32];
  std::strftime(date, sizeof date, "%Y-%m-%dT%H:%M:%S", &parts);
  char time[48];
  std::snprintf(time, sizeof time, "%s.%03dZ", date, static_cast<int>(milliseconds % 1000));
  return time;
}

// Without what may be long.
std::string shortLine(RequestRecord record, const std::string& time) {
  record.parameters = {{"(too long)", "to be shown; the request log holds it"}};
  record.answer = nullptr;
  return logLine(record, time);
}

}  // namespace

std::string logLine(const RequestRecord& record, const std::string& time) {
  Json line = {{"time", time},
               {"method", record.method},
               {"endpoint", record.endpoint},
               {"key", record.key ? Json(*record.key) : Json()},
               {"parameters", Json(record.parameters)},
               {"status", record.status},
               {"answer", record.answer}};
  if (record.broken) line["broken"] = *record.broken;
  return line.dump(-1, ' ', false, Json::error_handler_t::replace);
}

RequestLog::RequestLog(const std::string& file, Feed& feed)
    : feed_(feed), out_(file.empty() ? std::cerr : file_) {
  if (file.empty()) return;
  file_.open(file, std::ios::app);
  if (!file_) throw std::runtime_error(file + ": " + std::strerror(errno));
}

void RequestLog::write(const RequestRecord& record) {
  const std::lock_guard lock(mutex_);
  const std::string time = currentTime();
  const std::string line = logLine(record, time);
  feed_.publishRequest(line.size() <= kMostWatchedBytes ? line : shortLine(record, time));
  out_ << line << std::endl;
  if (out_) return;
  if (!failed_) std::cerr << "korvani-service: the request log cannot be written\n";
  failed_ = true;
  out_.clear();
}

}  // namespace korvani::service
