// Keeps what happens on the simulated phone, or hands it on as it happens.
#pragma once

#include <korvani/simulator/effect.h>
#include <korvani/simulator/scheduler.h>

#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace korvani::simulator {

class Recorder {
 public:
  using Handler = std::function<void(const Effect&)>;

  explicit Recorder(const Scheduler& scheduler) : scheduler_(scheduler) {}

  /// Any thread; effects stand in the order of the calls.
  void record(std::string kind, platform::Value content);
  /// Main thread, between jobs.
  const std::vector<Effect>& effects() const { return effects_; }
  std::vector<Effect> takeEffects() { return std::exchange(effects_, {}); }
  void setHandler(Handler handler) { handler_ = std::move(handler); }

 private:
  const Scheduler& scheduler_;
  std::mutex mutex_;
  std::vector<Effect> effects_;
  Handler handler_;
};

}  // namespace korvani::simulator
