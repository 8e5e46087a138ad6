// The simulated phone's time and threads: a virtual clock, and jobs that run one at a time in an
// order that does not depend on the machine.
#pragma once

#include <korvani/platform/queues.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string_view>
#include <vector>

namespace korvani::simulator {

using std::chrono::milliseconds;

/// Jobs of the main lane run on the thread that calls `advanceTo`, all others on worker threads, so
/// that a job may sleep. One thread at a time has the turn; the others wait for theirs. Due jobs
/// and sleepers go on in order of time, then of submission.
///
/// What never gets its turn again (a sleeper when nobody advances the clock any more) waits until
/// the process ends; its thread keeps the scheduler alive.
class Scheduler : public std::enable_shared_from_this<Scheduler> {
 public:
  /// A queue's jobs, and the thread's name while one of them runs.
  struct Lane {
    std::string_view threadName;
    /// One job after another, even when one of them sleeps.
    bool serial = true;
    bool busy = false;
    std::deque<platform::Job> waiting = {};
  };

  /// "main" outside of any job.
  static std::string_view currentThreadName();

  const std::shared_ptr<Lane>& mainLane() const { return mainLane_; }

  // Any thread. Times are counted from the scheduler's making.
  milliseconds now() const;
  void submit(std::shared_ptr<Lane> lane, milliseconds delay, platform::Job job);

  /// Parks the job that calls it; returns at once on any other thread.
  void sleepFor(milliseconds duration);

  /// Runs all that falls due up to and at that moment. Called from inside a job it does nothing.
  void advanceTo(milliseconds moment);

  /// Drops all jobs, for good, and lets idle workers go. Sleepers never wake.
  void stop();

 private:
  /// A thread that can have the turn: the one that advances the clock, or a worker.
  struct Context {
    const Scheduler* scheduler = nullptr;
    std::condition_variable changed;
  };
  /// A job of a lane, or the end of a worker's sleep.
  struct Entry {
    milliseconds due;
    std::uint64_t order;
    std::shared_ptr<Lane> lane;
    platform::Job job;
    Context* sleeper = nullptr;

    friend bool operator>(const Entry& a, const Entry& b) {
      return a.due != b.due ? a.due > b.due : a.order > b.order;
    }
  };
  using Lock = std::unique_lock<std::mutex>;

  void push(milliseconds due, std::shared_ptr<Lane> lane, platform::Job job, Context* sleeper);
  Entry take();
  bool isDue() const;
  bool isForMain() const;
  bool isForWorker() const;
  void run(Lock& lock, Entry entry);
  Context* chooseNext();
  Context* freeWorker();
  void passTurn(Lock& lock, Context& self);
  void work(Context& self);

  const std::shared_ptr<Lane> mainLane_ = std::make_shared<Lane>(Lane{.threadName = "main"});
  mutable std::mutex mutex_;
  /// A heap, the next entry in front.
  std::vector<Entry> entries_;
  std::uint64_t nextOrder_ = 0;
  milliseconds now_{0};
  milliseconds until_{0};
  /// Jobs that found no thread; destroyed when nothing is locked.
  std::vector<Entry> dropped_;
  bool running_ = false;
  bool stopped_ = false;
  Context main_;
  Context* turn_ = &main_;
  std::vector<Context*> idle_;

  static thread_local Context* current_;
  static thread_local std::string_view threadName_;
};

}  // namespace korvani::simulator
