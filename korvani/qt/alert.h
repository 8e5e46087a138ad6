// Alerts of the Linux phone: cards over the host's window, one at a time.
#pragma once

#include <korvani/platform/application.h>

#include <QObject>
#include <QPointer>
#include <QWidget>
#include <deque>

namespace korvani::qt {

class Canvas;

/// As much of its texts as anybody would read. Any thread.
platform::Alert shortened(const platform::Alert& alert);

/// Main thread. Without a window no alert is shown and no delegate hears of it.
class Alerts {
 public:
  explicit Alerts(Canvas& canvas) : canvas_(canvas) {}
  ~Alerts() { delete shown_; }

  /// Shown when those before it have been answered. The text is shown as it is, never as markup.
  void show(const platform::Alert& alert);

 private:
  void showNext();
  void answered(const platform::Alert& alert);

  Canvas& canvas_;
  std::deque<platform::Alert> waiting_;
  QPointer<QWidget> shown_;
  QObject context_;
};

}  // namespace korvani::qt
