// Waiting for what happens on another thread, or on the event loop.
#pragma once

#include <QCoreApplication>
#include <QEventLoop>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <optional>

namespace korvani::qt {

/// Takes a value from one thread to another.
template <typename T>
class Box {
 public:
  void put(T value) {
    const std::lock_guard lock(mutex_);
    value_ = std::move(value);
    filled_.notify_all();
  }
  T take() {
    std::unique_lock lock(mutex_);
    filled_.wait(lock, [this] { return value_.has_value(); });
    return *std::exchange(value_, std::nullopt);
  }

 private:
  std::mutex mutex_;
  std::condition_variable filled_;
  std::optional<T> value_;
};

/// Runs the event loop until it is so.
inline void runUntil(const std::function<bool()>& isSo) {
  while (!isSo()) QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

}  // namespace korvani::qt
