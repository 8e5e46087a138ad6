// The queues port: the main queue on Qt's event loop, the others on threads of the phone.
#pragma once

#include <korvani/platform/queues.h>
#include <korvani/qt/threads.h>

#include <QObject>
#include <QSocketNotifier>
#include <deque>
#include <memory>
#include <mutex>

namespace korvani::qt {

/// Made and destroyed on the main thread. One job a turn of the event loop, so windows stay lively;
/// a nested event loop runs the jobs that follow. Qt only wakes the thread: jobs cross in a queue
/// of our own, under a mutex that ThreadSanitizer sees.
class MainQueue final : public platform::Queue {
 public:
  MainQueue();
  ~MainQueue() override;
  void async(platform::Job job) override;

 private:
  void runOne();

  const int wakeUp_;
  QSocketNotifier notifier_;
  std::mutex mutex_;
  std::deque<platform::Job> jobs_;
};

/// The priorities of the global queue are all one: desktop threads share the processor fairly.
class Queues final : public platform::Queues {
 public:
  explicit Queues(ApplicationLife& life);
  platform::Queue& mainQueue() override { return mainQueue_; }
  void mainQueueAfter(std::chrono::milliseconds delay, platform::Job job) override;
  platform::Queue& globalQueue(platform::QueuePriority) override { return globalQueue_; }
  std::shared_ptr<platform::Queue> newOperationQueue() override;

 private:
  class GlobalQueue final : public platform::Queue {
   public:
    explicit GlobalQueue(ThreadPool& threads) : threads_(threads) {}
    void async(platform::Job job) override { threads_.run(std::move(job)); }

   private:
    ThreadPool& threads_;
  };

  using Moment = std::chrono::steady_clock::time_point;
  void runAt(Moment moment, platform::Job job);

  MainQueue mainQueue_;
  QObject timers_;
  const std::shared_ptr<ThreadPool> threads_;
  GlobalQueue globalQueue_;
};

}  // namespace korvani::qt
