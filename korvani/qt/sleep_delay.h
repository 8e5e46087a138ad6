// Puts off the machine's sleep until the work that is under way has been ended in order.
#pragma once

#include <korvani/qt/bus_signal.h>

#include <QDBusUnixFileDescriptor>
#include <QObject>
#include <QString>
#include <functional>
#include <optional>
#include <utility>

namespace korvani::qt {

/// Main thread; nothing here waits for logind, which may be absent, late, or come and go: without
/// it the machine sleeps when it likes, and `sleepIsNear` may not be called.
class SleepDelay final : public QObject {
 public:
  /// While the delay is wanted, the machine sleeps only once `sleepIsNear` has returned (or
  /// logind's patience has ended).
  explicit SleepDelay(std::function<void()> sleepIsNear) : sleepIsNear_(std::move(sleepIsNear)) {}

  /// No delay is held while none is wanted, nor from the beginning of a sleep to its end.
  void setWanted(bool wanted);

 private:
  void watchLogind();
  void askForDelay();
  void takeAnswer(const QDBusMessage& answer);
  void prepareForSleep(const QDBusMessage& signal);

  const std::function<void()> sleepIsNear_;
  bool isWanted_ = false;
  bool isAsking_ = false;
  bool isFallingAsleep_ = false;
  std::optional<BusSignal> preparations_;
  /// Of logind's name; empty while there is none.
  QString owner_;
  /// Logind holds the sleep while this is open.
  QDBusUnixFileDescriptor delay_;
};

}  // namespace korvani::qt
