// Threads of the phone: they take no signal that is meant for the host, and one that cannot be made
// is survived.
#pragma once

#include <korvani/platform/queues.h>
#include <korvani/qt/application_life.h>

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

namespace korvani::qt {

/// Nothing when the system makes no more threads.
std::optional<std::thread> startThread(std::function<void()> body);

/// Runs jobs side by side: a job that finds no idle thread gets a new one, so one that sleeps for
/// ever holds up no other. Any thread. Threads keep the pool alive.
class ThreadPool : public std::enable_shared_from_this<ThreadPool> {
 public:
  explicit ThreadPool(ApplicationLife& life) : life_(life) {}
  /// False when there is no thread for the job, or no application any more; it is destroyed then.
  bool run(platform::Job job);

 private:
  void work(platform::Job job);
  platform::Job nextJob();

  ApplicationLife& life_;
  std::mutex mutex_;
  std::condition_variable jobArrived_;
  // Never more jobs than idle threads.
  std::deque<platform::Job> jobs_;
  std::size_t idle_ = 0;
};

}  // namespace korvani::qt
