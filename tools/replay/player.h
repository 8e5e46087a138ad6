// The host application of a script: a simulated phone with the kit on it, and a delegate that
// records what it is told.
#pragma once

#include <korvani/simulator/simulated_phone.h>

#include <chrono>
#include <functional>
#include <memory>

namespace korvani::replay {

class Player;

/// One line of a script, checked.
struct Step {
  /// Since the start; never before that of an earlier step.
  std::chrono::milliseconds at;
  /// What the line does, once the clock is there.
  std::function<void(Player&)> action;
};

/// How the phone is made.
struct Beginning {
  platform::Date start = simulator::SimulatedPhone::kDefaultStart;
  simulator::LocationServiceKind locationService = simulator::LocationServiceKind::kScripted;
};

enum class DelegateKind { kRecording, kNone, kGone };

class Player {
 public:
  /// Installs the phone; one player a process.
  Player(const Beginning& beginning, std::function<void(const simulator::Effect&)> print);

  void play(const Step& step);
  /// Lets the last work come to its end.
  void finish();

  simulator::SimulatedPhone& phone() { return *phone_; }
  void setDelegate(DelegateKind kind);

 private:
  class RecordingDelegate;

  const std::shared_ptr<simulator::SimulatedPhone> phone_;
  std::shared_ptr<RecordingDelegate> delegate_;
};

}  // namespace korvani::replay
