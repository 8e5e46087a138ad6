// The ports for time and for work that is done later, on the scheduler's lanes.
#pragma once

#include <korvani/platform/clock.h>
#include <korvani/platform/queues.h>
#include <korvani/simulator/scheduler.h>
#include <korvani/simulator/settings.h>

#include <memory>
#include <utility>

namespace korvani::simulator {

class SimulatedClock : public platform::Clock {
 public:
  SimulatedClock(Scheduler& scheduler, const Settings& settings, platform::Date start)
      : scheduler_(scheduler), settings_(settings), start_(start) {}

  platform::Date now() const override { return start_ + scheduler_.now(); }
  std::chrono::minutes utcOffset(platform::Date) const override { return settings_.utcOffset; }
  void sleepFor(milliseconds duration) override { scheduler_.sleepFor(duration); }

 private:
  Scheduler& scheduler_;
  const Settings& settings_;
  const platform::Date start_;
};

class SimulatedQueue : public platform::Queue {
 public:
  SimulatedQueue(std::shared_ptr<Scheduler> scheduler, std::shared_ptr<Scheduler::Lane> lane)
      : scheduler_(std::move(scheduler)), lane_(std::move(lane)) {}

  void async(platform::Job job) override { asyncAfter(milliseconds{0}, std::move(job)); }
  void asyncAfter(milliseconds delay, platform::Job job) {
    scheduler_->submit(lane_, delay, std::move(job));
  }

 private:
  const std::shared_ptr<Scheduler> scheduler_;
  const std::shared_ptr<Scheduler::Lane> lane_;
};

class SimulatedQueues : public platform::Queues {
 public:
  explicit SimulatedQueues(std::shared_ptr<Scheduler> scheduler);

  platform::Queue& mainQueue() override { return main_; }
  void mainQueueAfter(milliseconds delay, platform::Job job) override {
    main_.asyncAfter(delay, std::move(job));
  }
  platform::Queue& globalQueue(platform::QueuePriority) override { return global_; }
  std::shared_ptr<platform::Queue> newOperationQueue() override;

 private:
  const std::shared_ptr<Scheduler> scheduler_;
  SimulatedQueue main_;
  SimulatedQueue global_;
};

}  // namespace korvani::simulator
