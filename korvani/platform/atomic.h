// A property that several threads read and write whole.
#pragma once

#include <mutex>
#include <utility>

namespace korvani::platform {

/// Load and store of a whole value from any thread. Values are copied out, never referred to; the
/// value that is replaced dies outside the lock, so its destructor may do what it likes.
template <typename T>
class Atomic {
 public:
  Atomic() = default;
  explicit Atomic(T value) : value_(std::move(value)) {}

  T load() const {
    const std::lock_guard lock(mutex_);
    return value_;
  }
  void store(T value) { exchange(std::move(value)); }
  T exchange(T value) {
    const std::lock_guard lock(mutex_);
    std::swap(value_, value);
    return value;
  }

 private:
  mutable std::mutex mutex_;
  T value_{};
};

}  // namespace korvani::platform
