// What those who watch the service are told: its state, and the last requests. Bounded, and no
// watcher can hold the service up: one that is slow misses what has gone from the history.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <string>

namespace korvani::service {

// Safe from any thread.
class Feed {
 public:
  static constexpr std::size_t kMostRequests = 500;
  static constexpr std::size_t kMostBytes = 4 * 1024 * 1024;

  // One line of JSON each. Of the state only the last is kept.
  void publishRequest(const std::string& line);
  void publishState(const std::string& line);

  // What came after the event of that number, as server-sent events, and moves the number on. Waits
  // for it so long at most; then, or after the end, the text is empty.
  std::string next(std::uint64_t& last, std::chrono::milliseconds patience);

  // Nobody waits from now on.
  void end();
  bool ended() const;

 private:
  struct Event {
    std::uint64_t number = 0;
    std::string text;
  };

  Event event(const char* name, const std::string& line);

  mutable std::mutex mutex_;
  std::condition_variable changed_;
  std::uint64_t last_ = 0;
  Event state_;
  std::deque<Event> requests_;
  std::size_t bytes_ = 0;
  bool ended_ = false;
};

}  // namespace korvani::service
