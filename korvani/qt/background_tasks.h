// Background tasks, with a budget of time in the background.
#pragma once

#include <korvani/platform/application.h>
#include <korvani/platform/atomic.h>
#include <korvani/qt/sleep_delay.h>

#include <QTimer>
#include <chrono>
#include <functional>
#include <map>
#include <optional>

namespace korvani::qt {

/// Main thread, but for `timeRemaining`. The budget starts when the application goes into the
/// background; a task that begins after it has run out starts it anew. When it runs out, all open
/// tasks expire, in the order in which they began. So they do before the machine sleeps, which
/// waits for them.
class BackgroundTasks {
 public:
  /// A budget below zero is none at all.
  explicit BackgroundTasks(std::chrono::milliseconds budget);

  platform::BackgroundTaskIdentifier begin(std::function<void()> expirationHandler);
  void end(platform::BackgroundTaskIdentifier identifier);
  /// Any thread. Seconds; the greatest number there is while the application is not in the
  /// background.
  double timeRemaining() const;

  void enteredBackground();
  void becameActive();

 private:
  using Moment = std::chrono::steady_clock::time_point;
  void startBudget();
  void sleepIsNear();
  void expire();

  const std::chrono::milliseconds budget_;
  QTimer timer_;
  platform::BackgroundTaskIdentifier lastIdentifier_ = platform::kBackgroundTaskInvalid;
  std::map<platform::BackgroundTaskIdentifier, std::function<void()>> open_;
  /// None in the foreground.
  platform::Atomic<std::optional<Moment>> deadline_;
  /// Wanted while a task is open.
  SleepDelay sleepDelay_;
};

}  // namespace korvani::qt
