// Watches the application's state and its windows.
#include <korvani/qt/lifecycle.h>

#include <QEvent>
#include <QGuiApplication>
#include <QTimer>
#include <QWindow>
#include <algorithm>
#include <utility>

namespace korvani::qt {

namespace {

/// A window as users know it: no menu, tool tip or the like.
bool isShown(const QWindow* window) {
  const bool isReal = window->type() == Qt::Window || window->type() == Qt::Dialog;
  return isReal && window->isVisible() && !window->windowStates().testFlag(Qt::WindowMinimized);
}

bool anyWindowIsShown() {
  const auto windows = QGuiApplication::topLevelWindows();
  return std::any_of(windows.begin(), windows.end(), isShown);
}

}  // namespace

Lifecycle::Lifecycle(std::function<void()> enteredBackground, std::function<void()> becameActive)
    : enteredBackground_(std::move(enteredBackground)), becameActive_(std::move(becameActive)) {
  connect(qGuiApp, &QGuiApplication::applicationStateChanged, this, [this] { lookSoon(); });
  qGuiApp->installEventFilter(this);
  lookSoon();
}

bool Lifecycle::eventFilter(QObject* object, QEvent* event) {
  const auto type = event->type();
  const bool tells =
      type == QEvent::Show || type == QEvent::Hide || type == QEvent::WindowStateChange;
  if (tells && object->isWindowType()) lookSoon();
  return false;
}

// One window that follows another closely is no stay in the background.
void Lifecycle::lookSoon() {
  if (std::exchange(lookIsDue_, true)) return;
  QTimer::singleShot(0, this, [this] { look(); });
}

void Lifecycle::look() {
  lookIsDue_ = false;
  hadWindow_ = hadWindow_ || anyWindowIsShown();
  const bool wasInBackground = std::exchange(inBackground_, isInBackground());
  if (inBackground_) {
    active_ = false;
    if (!wasInBackground) enteredBackground_();
    return;
  }
  const bool hasFocus = QGuiApplication::applicationState() == Qt::ApplicationActive;
  // A window that returns is seen, whether it takes the focus or not.
  const bool active = hasFocus || wasInBackground;
  if (active && !std::exchange(active_, true)) return becameActive_();
  if (!hasFocus && !wasInBackground) active_ = false;
}

bool Lifecycle::isInBackground() const {
  const auto state = QGuiApplication::applicationState();
  if (state == Qt::ApplicationSuspended || state == Qt::ApplicationHidden) return true;
  return hadWindow_ && !anyWindowIsShown();
}

}  // namespace korvani::qt
