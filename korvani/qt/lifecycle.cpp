// Watches the application's state and its windows. A Wayland compositor does not say that it shows
// a window no more; it only takes no more frames of it, and then Qt calls the window not exposed.
// As that shows only when something is painted, a little is painted now and then.
#include <korvani/qt/lifecycle.h>

#include <QApplication>
#include <QEvent>
#include <QWidget>
#include <QWindow>
#include <algorithm>
#include <chrono>
#include <utility>

namespace korvani::qt {

namespace {

/// A window as users know it, no menu, tool tip or the like; it may be minimised.
bool isOpen(const QWindow* window) {
  const bool isReal = window->type() == Qt::Window || window->type() == Qt::Dialog;
  return isReal && window->isVisible();
}
bool isShown(const QWindow* window) {
  return isOpen(window) && !window->windowStates().testFlag(Qt::WindowMinimized);
}
bool isExposed(const QWindow* window) { return isShown(window) && window->isExposed(); }

bool anyWindow(bool (*isSo)(const QWindow*)) {
  const auto windows = QGuiApplication::topLevelWindows();
  return std::any_of(windows.begin(), windows.end(), isSo);
}

constexpr std::chrono::seconds kProbeInterval{1};
/// So many times in a row: a busy compositor is late now and then.
constexpr int kRefusals = 2;

}  // namespace

Lifecycle::Lifecycle(std::function<void()> enteredBackground, std::function<void()> becameActive)
    : enteredBackground_(std::move(enteredBackground)), becameActive_(std::move(becameActive)) {
  connect(qGuiApp, &QGuiApplication::applicationStateChanged, this, [this] { lookSoon(); });
  qGuiApp->installEventFilter(this);
  probing_.setInterval(kProbeInterval);
  connect(&probing_, &QTimer::timeout, this, [this] { probe(); });
  lookSoon();
}

bool Lifecycle::eventFilter(QObject* object, QEvent* event) {
  const auto type = event->type();
  const bool tells = type == QEvent::Show || type == QEvent::Hide || type == QEvent::Expose ||
                     type == QEvent::WindowStateChange;
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
  hadWindow_ = hadWindow_ || anyWindow(isOpen);
  const bool hasFocus = QGuiApplication::applicationState() == Qt::ApplicationActive;
  if (hasFocus || anyWindow(isExposed) || !anyWindow(isShown)) framesRefused_ = 0;
  const bool lostFocus = std::exchange(hadFocus_, hasFocus) && !hasFocus;
  const bool wasInBackground = std::exchange(inBackground_, isInBackground());
  const bool isUncertain = hadWindow_ && !hasFocus && !inBackground_ &&
                           QGuiApplication::platformName().startsWith(u"wayland");
  if (!isUncertain) {
    probing_.stop();
  } else if (!probing_.isActive()) {
    probing_.start();
  }
  if (inBackground_) {
    active_ = false;
    if (!wasInBackground) enteredBackground_();
    return;
  }
  if (lostFocus) active_ = false;
  // A window that returns is seen, whether it takes the focus then, later or not at all.
  const bool active = hasFocus || wasInBackground;
  if (active && !std::exchange(active_, true)) becameActive_();
}

bool Lifecycle::isOutOfSight() const {
  const auto state = QGuiApplication::applicationState();
  return state == Qt::ApplicationSuspended || state == Qt::ApplicationHidden ||
         framesRefused_ >= kRefusals;
}

bool Lifecycle::isInBackground() const {
  return isOutOfSight() || (hadWindow_ && !anyWindow(isShown));
}

void Lifecycle::probe() {
  if (!anyWindow(isExposed)) ++framesRefused_;
  look();
  for (QWidget* widget : QApplication::topLevelWidgets()) widget->update(0, 0, 1, 1);
  for (QWindow* window : QGuiApplication::topLevelWindows()) window->requestUpdate();
}

}  // namespace korvani::qt
