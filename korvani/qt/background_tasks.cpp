// A timer that runs in the background, and the tasks that it or the machine's sleep ends.
#include <korvani/qt/background_tasks.h>

#include <algorithm>
#include <limits>
#include <utility>

namespace korvani::qt {

namespace {

/// As long as a timer can run.
constexpr std::chrono::milliseconds kLongestBudget{std::numeric_limits<int>::max()};

}  // namespace

BackgroundTasks::BackgroundTasks(std::chrono::milliseconds budget)
    : budget_(std::clamp(budget, std::chrono::milliseconds(0), kLongestBudget)),
      sleepDelay_([this] { sleepIsNear(); }) {
  timer_.setSingleShot(true);
  timer_.setTimerType(Qt::PreciseTimer);
  QObject::connect(&timer_, &QTimer::timeout, &timer_, [this] { expire(); });
}

platform::BackgroundTaskIdentifier BackgroundTasks::begin(std::function<void()> expirationHandler) {
  if (deadline_.load() && !timer_.isActive()) startBudget();
  open_.emplace(++lastIdentifier_, std::move(expirationHandler));
  sleepDelay_.setWanted(true);
  return lastIdentifier_;
}

void BackgroundTasks::end(platform::BackgroundTaskIdentifier identifier) {
  open_.erase(identifier);
  if (open_.empty()) sleepDelay_.setWanted(false);
}

double BackgroundTasks::timeRemaining() const {
  const auto deadline = deadline_.load();
  if (!deadline) return std::numeric_limits<double>::max();
  const std::chrono::duration<double> left = *deadline - std::chrono::steady_clock::now();
  return std::max(left.count(), 0.0);
}

void BackgroundTasks::enteredBackground() { startBudget(); }

void BackgroundTasks::becameActive() {
  timer_.stop();
  deadline_.store(std::nullopt);
}

void BackgroundTasks::startBudget() {
  deadline_.store(std::chrono::steady_clock::now() + budget_);
  timer_.start(budget_);
}

// The time in the background ends here; in the foreground there is no limit all the same.
void BackgroundTasks::sleepIsNear() {
  timer_.stop();
  if (deadline_.load()) deadline_.store(std::chrono::steady_clock::now());
  expire();
}

void BackgroundTasks::expire() {
  const auto expired = std::exchange(open_, {});
  for (const auto& [identifier, handler] : expired) {
    if (handler) handler();
  }
  if (open_.empty()) sleepDelay_.setWanted(false);
}

}  // namespace korvani::qt
