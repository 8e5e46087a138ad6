// The port for work that is done later or elsewhere.
#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace korvani::platform {

using Job = std::function<void()>;

/// Takes jobs from any thread. A job that finds no thread, or comes after the application has gone,
/// is dropped and destroyed. Jobs throw nothing.
class Queue {
 public:
  virtual ~Queue() = default;
  virtual void async(Job job) = 0;
};

enum class QueuePriority { kDefault = 0, kHigh = 2 };

/// Any thread.
class Queues {
 public:
  virtual ~Queues() = default;
  /// Runs its jobs on the main thread, in order; lives as long as the phone.
  virtual Queue& mainQueue() = 0;
  /// The main queue, but not before the delay has passed.
  virtual void mainQueueAfter(std::chrono::milliseconds delay, Job job) = 0;
  /// Runs its jobs side by side on threads of its own; a job that blocks holds up no other one.
  virtual Queue& globalQueue(QueuePriority priority) = 0;
  /// A new background queue that runs its jobs one after another; it finishes what it was given
  /// though the caller lets go of it. Null where none can be made: the request that it was for
  /// fails.
  virtual std::shared_ptr<Queue> newOperationQueue() = 0;
};

}  // namespace korvani::platform
