// The record of effects.
#include <korvani/simulator/recorder.h>

namespace korvani::simulator {

void Recorder::record(std::string kind, platform::Value content) {
  Effect effect{scheduler_.now(), Scheduler::currentThreadName(), std::move(kind),
                std::move(content)};
  const std::lock_guard lock(mutex_);
  if (handler_) {
    handler_(effect);
  } else {
    effects_.push_back(std::move(effect));
  }
}

}  // namespace korvani::simulator
