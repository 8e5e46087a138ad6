// The simulated phone's queues: one lane each, named as effects name the thread.
#include <korvani/simulator/queues.h>

namespace korvani::simulator {
namespace {

std::shared_ptr<Scheduler::Lane> newLane(std::string_view threadName, bool serial) {
  return std::make_shared<Scheduler::Lane>(
      Scheduler::Lane{.threadName = threadName, .serial = serial});
}

}  // namespace

SimulatedQueues::SimulatedQueues(std::shared_ptr<Scheduler> scheduler)
    : scheduler_(std::move(scheduler)),
      main_(scheduler_, scheduler_->mainLane()),
      global_(scheduler_, newLane("global", false)) {}

std::shared_ptr<platform::Queue> SimulatedQueues::newOperationQueue() {
  return std::make_shared<SimulatedQueue>(scheduler_, newLane("request", true));
}

}  // namespace korvani::simulator
