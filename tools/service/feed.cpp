// The events of the live page.
#include "feed.h"

namespace korvani::service {

Feed::Event Feed::event(const char* name, const std::string& line) {
  ++last_;
  return {last_, "id: " + std::to_string(last_) + "\nevent: " + name + "\ndata: " + line + "\n\n"};
}

void Feed::publishRequest(const std::string& line) {
  const std::lock_guard lock(mutex_);
  requests_.push_back(event("request", line));
  bytes_ += requests_.back().text.size();
  while (requests_.size() > kMostRequests || bytes_ > kMostBytes) {
    bytes_ -= requests_.front().text.size();
    requests_.pop_front();
  }
  changed_.notify_all();
}

void Feed::publishState(const std::string& line) {
  const std::lock_guard lock(mutex_);
  state_ = event("state", line);
  changed_.notify_all();
}

std::string Feed::next(std::uint64_t& last, std::chrono::milliseconds patience) {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, patience, [&] { return ended_ || last_ > last; });
  std::string text;
  if (ended_) return text;
  if (state_.number > last) text = state_.text;
  for (const Event& request : requests_) {
    if (request.number > last) text += request.text;
  }
  last = last_;
  return text;
}

void Feed::end() {
  const std::lock_guard lock(mutex_);
  ended_ = true;
  changed_.notify_all();
}

bool Feed::ended() const {
  const std::lock_guard lock(mutex_);
  return ended_;
}

}  // namespace korvani::service
