// Where the application stands: in front of the user or in the background.
#pragma once

#include <QObject>
#include <QTimer>
#include <functional>

namespace korvani::qt {

/// Main thread. In the background: the system has suspended or hidden the application, or every
/// window is minimised or hidden, or the compositor shows none. On a desktop an application that
/// only loses the focus is still seen, so that is not the background.
class Lifecycle final : public QObject {
 public:
  Lifecycle(std::function<void()> enteredBackground, std::function<void()> becameActive);

  /// The system shows none of the windows, whatever they say themselves.
  bool isOutOfSight() const;

  bool eventFilter(QObject* object, QEvent* event) override;

 private:
  void lookSoon();
  void look();
  bool isInBackground() const;
  void probe();

  const std::function<void()> enteredBackground_;
  const std::function<void()> becameActive_;
  bool lookIsDue_ = false;
  bool hadWindow_ = false;
  bool inBackground_ = false;
  bool active_ = false;
  bool hadFocus_ = false;
  /// Asks a Wayland compositor for frames while the application is without the focus.
  QTimer probing_;
  int framesRefused_ = 0;
};

}  // namespace korvani::qt
