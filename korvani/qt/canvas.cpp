// A host's widget is the canvas itself. In any other window, and in one that holds others, it is a
// child window, which keeps to its parent whatever the window system; where it is of no use, it is
// shaped to let the host be seen and touched.
#include <korvani/qt/canvas.h>
#include <korvani/qt/cover.h>
#include <korvani/qt/log.h>

#include <QApplication>
#include <QChildEvent>
#include <QCloseEvent>
#include <QInputMethod>
#include <QPlatformSurfaceEvent>
#include <QPointer>
#include <QScreen>
#include <QTimer>
#include <QWindow>

namespace korvani::qt {

void Sheet::childEvent(QChildEvent* event) {
  QWidget::childEvent(event);
  if (event->removed()) layersChanged();
}

namespace {

/// Nothing can be drawn with widgets in an application that was made without them.
bool hasWidgets() {
  static const bool has = [] {
    const bool made = qobject_cast<QApplication*>(QCoreApplication::instance()) != nullptr;
    if (!made) qCWarning(phoneLog, "nothing can be shown without a QApplication");
    return made;
  }();
  return has;
}

bool isShown(const QWidget& window) { return window.isVisible() && !window.isMinimized(); }
bool isShown(const QWindow& window) {
  return window.isVisible() && !window.windowStates().testFlag(Qt::WindowMinimized);
}

void raiseWindow(QWidget& window) {
  window.setWindowState(window.windowState() & ~Qt::WindowMinimized);
  window.show();
  window.raise();
  window.activateWindow();
}
void raiseWindow(QWindow& window) {
  window.setWindowStates(window.windowStates() & ~Qt::WindowMinimized);
  window.show();
  window.raise();
  window.requestActivate();
}

/// The child window in a host's window.
class ChildSheet final : public Sheet {
 public:
  explicit ChildSheet(QWindow* host) : host_(host) {
    setWindowFlags(kFlags);
    // Seen through where the window system blends; elsewhere its shape is cut out.
    setAttribute(Qt::WA_TranslucentBackground);
    setAttribute(Qt::WA_QuitOnClose, false);
    resize(host->size());
    host->installEventFilter(this);
    connect(qGuiApp, &QGuiApplication::focusWindowChanged, this, [this](const QWindow* focused) {
      if (focused == host_) takeKeyboard();
      // Qt looks for the active widget among top-level windows only.
      if (focused && focused == windowHandle()) QApplication::setActiveWindow(this);
    });
    watchInput(host->focusObject());
    connect(host, &QWindow::focusObjectChanged, this, &ChildSheet::watchInput);
    connect(qApp, &QApplication::focusChanged, this, [this](QWidget* before, QWidget* now) {
      if (isAncestorOf(before) || isAncestorOf(now)) tellInputMethod();
    });
  }

  void layersChanged() override {
    const std::vector<Layer*> shown = Layer::shownOn(this);
    if (shown.empty() || hostLeaves_ || !host_->handle()) {
      giveKeyboardBack();
      hide();
      return;
    }
    QRegion shape;
    for (const Layer* layer : shown) shape += layer->shape();
    // An empty mask is none; what is out of sight is a shape as well.
    setMask(shape.isEmpty() ? QRegion(-1, -1, 1, 1) : shape);
    if (isHidden()) enter();
    topCover() ? takeKeyboard() : giveKeyboardBack();
  }

 protected:
  bool event(QEvent* event) override {
    // The web engine has the native window made anew.
    if (event->type() == QEvent::WinIdChange && isVisible()) join();
    return Sheet::event(event);
  }

  bool eventFilter(QObject* watched, QEvent* event) override {
    if (isOfInputMethod(*event) && watched == host_->focusObject()) return passOn(event);
    if (watched != host_) return Sheet::eventFilter(watched, event);
    switch (event->type()) {
      case QEvent::Resize:
        resize(host_->size());
        return false;
      case QEvent::PlatformSurface:
        followSurface(static_cast<QPlatformSurfaceEvent*>(event)->surfaceEventType());
        return false;
      case QEvent::ShortcutOverride:
      case QEvent::KeyPress:
      case QEvent::KeyRelease:
        return passOn(event);
      case QEvent::MouseButtonPress:
      case QEvent::MouseButtonRelease:
      case QEvent::MouseButtonDblClick:
      case QEvent::MouseMove:
      case QEvent::Wheel:
      case QEvent::TouchBegin:
      case QEvent::TouchUpdate:
      case QEvent::TouchEnd:
      case QEvent::TabletPress:
      case QEvent::TabletMove:
      case QEvent::TabletRelease:
        return topCover() != nullptr;
      default:
        return false;
    }
  }

 private:
  Cover* topCover() const {
    Cover* top = nullptr;
    for (Layer* layer : Layer::shownOn(this)) {
      if (auto* cover = dynamic_cast<Cover*>(layer)) top = cover;
    }
    return top;
  }

  static bool isOfInputMethod(const QEvent& event) {
    return event.type() == QEvent::InputMethod || event.type() == QEvent::InputMethodQuery;
  }

  /// Keys and texts that the host's window has got are for what covers it.
  bool passOn(QEvent* event) {
    Cover* const top = topCover();
    if (!top) return false;
    QWidget* const focused = focusWidget();
    QCoreApplication::sendEvent(top->isAncestorOf(focused) ? focused : top, event);
    if (event->type() != QEvent::InputMethodQuery) tellInputMethod();
    return true;
  }

  /// Input methods talk to the object that has the focus in the host's window.
  void watchInput(QObject* object) {
    if (object) object->installEventFilter(this);
  }
  /// What it would be told now is something else.
  static void tellInputMethod() { QGuiApplication::inputMethod()->update(Qt::ImQueryAll); }

  void join() {
    winId();
    windowHandle()->setParent(host_);
    setGeometry({{}, host_->size()});
  }

  void enter() {
    overrideWindowFlags(kFlags);  // a lost native window takes them along
    join();
    show();
    raise();
  }

  /// The native child has been destroyed with its parent, behind this widget's back.
  void followSurface(QPlatformSurfaceEvent::SurfaceEventType type) {
    hostLeaves_ = type != QPlatformSurfaceEvent::SurfaceCreated;
    if (!hostLeaves_) {
      QTimer::singleShot(0, this, [this] { layersChanged(); });
    } else if (windowHandle()) {
      hide();
      windowHandle()->setParent(nullptr);
      destroy();
    }
  }

  // Never from another application, nor from another window of this one.
  void takeKeyboard() {
    if (!isVisible() || !topCover() || QGuiApplication::focusWindow() != host_) return;
    // Where a child window never gets the focus itself, it gets the host's keys.
    QApplication::setActiveWindow(this);
    activateWindow();
  }
  void giveKeyboardBack() {
    if (!isActiveWindow()) return;
    host_->requestActivate();
    // The focus may never have left the host's window, which Qt then has no news of.
    if (QGuiApplication::focusWindow() == host_ && host_->handle()) {
      QApplication::setActiveWindow(QWidget::find(host_->winId()));
    }
  }

  static constexpr Qt::WindowFlags kFlags = Qt::Window | Qt::FramelessWindowHint;

  QWindow* const host_;
  bool hostLeaves_ = false;
};

class WidgetCanvas final : public Canvas {
 public:
  explicit WidgetCanvas(QWidget* widget) : widget_(widget) {}

  QWidget* widget() override {
    if (!sheet_ && widget_ && holdsWindows(*widget_->window())) {
      QWindow* const host = widget_->window()->windowHandle();
      sheet_ = std::make_unique<ChildSheet>(host);
      sheet_->setPalette(widget_->palette());
      connect(host, &QObject::destroyed, this, [this] { sheet_.reset(); });
    }
    return sheet_ ? sheet_.get() : widget_.data();
  }
  QSize size() const override {
    if (!widget_) return {0, 0};
    return sheet_ ? widget_->window()->size() : widget_->size();
  }
  bool isSeen() const override { return widget_ && isShown(*widget_->window()); }
  void raise() override {
    if (widget_) raiseWindow(*widget_->window());
  }

 private:
  const QPointer<QWidget> widget_;
  std::unique_ptr<ChildSheet> sheet_;
};

class WindowCanvas final : public Canvas {
 public:
  explicit WindowCanvas(QWindow* host) : host_(host) {
    // The sheet still finds the host there.
    connect(host, &QObject::destroyed, this, [this] { sheet_.reset(); });
  }

  QWidget* widget() override {
    if (!sheet_ && host_ && hasWidgets()) sheet_ = std::make_unique<ChildSheet>(host_);
    return sheet_.get();
  }
  QSize size() const override { return host_ ? host_->size() : QSize(0, 0); }
  bool isSeen() const override { return host_ && isShown(*host_); }
  void raise() override {
    if (host_) raiseWindow(*host_);
  }

 private:
  const QPointer<QWindow> host_;
  std::unique_ptr<ChildSheet> sheet_;
};

/// A window of the size of a phone, or of the phone.
class OwnSheet final : public Sheet {
 public:
  static QSize usualSize() {
    const QScreen* const screen = QGuiApplication::primaryScreen();
    return screen ? screen->availableSize().boundedTo({390, 780}) : QSize(390, 780);
  }

  OwnSheet() {
    setObjectName("korvaniWindow");
    setAttribute(Qt::WA_QuitOnClose, false);
    resize(usualSize());
    leaving_.setSingleShot(true);
    leaving_.setInterval(kLinger);
    connect(&leaving_, &QTimer::timeout, this, &QWidget::hide);
  }

  void layersChanged() override {
    if (Layer::shownOn(this).empty()) return leaving_.start();
    leaving_.stop();
    if (isVisible()) return;
    show();
    activateWindow();
  }

 protected:
  void closeEvent(QCloseEvent* event) override {
    event->ignore();
    if (Layer* const top = topOf(Layer::shownOn(this))) top->goBack();
  }

 private:
  /// A screen that takes the place of another finds the window still there.
  static constexpr std::chrono::milliseconds kLinger{100};

  static Layer* topOf(const std::vector<Layer*>& layers) {
    return layers.empty() ? nullptr : layers.back();
  }

  QTimer leaving_;
};

class OwnCanvas final : public Canvas {
 public:
  QWidget* widget() override {
    if (!sheet_ && hasWidgets()) sheet_ = std::make_unique<OwnSheet>();
    return sheet_.get();
  }
  QSize size() const override { return sheet_ ? sheet_->size() : OwnSheet::usualSize(); }
  bool isSeen() const override { return hasWidgets(); }
  void raise() override {
    if (sheet_ && sheet_->isVisible()) raiseWindow(*sheet_);
  }

 private:
  std::unique_ptr<OwnSheet> sheet_;
};

}  // namespace

std::unique_ptr<Canvas> Canvas::over(const HostWindow& window) {
  if (auto* const* widget = std::get_if<QWidget*>(&window); widget && *widget) {
    return std::make_unique<WidgetCanvas>(*widget);
  }
  if (auto* const* host = std::get_if<QWindow*>(&window); host && *host) {
    return std::make_unique<WindowCanvas>(*host);
  }
  return std::make_unique<OwnCanvas>();
}

}  // namespace korvani::qt
