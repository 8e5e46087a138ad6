// Screens are recognised by the public screen models; touches are mouse events to whatever widget
// lies at that place, as a finger would find it.
#include "visitor.h"

#include <korvani/platform/screens/view.h>
#include <korvani/platform/screens/web_view.h>

#include <QAbstractButton>
#include <QApplication>
#include <QDir>
#include <QEnterEvent>
#include <QMouseEvent>
#include <QPixmap>
#include <QScreen>
#include <algorithm>
#include <utility>

namespace demo {
namespace {

using namespace korvani::platform;

constexpr int kLookMilliseconds = 120;
/// A page or image that has been painted has more colours than a bare ground.
constexpr int kColoursOfContent = 6;

template <typename Kind>
std::shared_ptr<Kind> find(const View& view, const std::function<bool(const Kind&)>& fits = {}) {
  for (const auto& subview : view.subviews()) {
    auto found = std::dynamic_pointer_cast<Kind>(subview);
    if (found && (!fits || fits(*found))) return found;
  }
  return nullptr;
}

bool hasImage(const Button& button) { return button.image(ControlState::kNormal) != nullptr; }
bool hasNoImage(const Button& button) { return !hasImage(button); }

QRect toRect(const Rect& frame) {
  return QRectF(frame.x, frame.y, frame.width, frame.height).toRect();
}

int colours(const QImage& image, const QRect& area) {
  QSet<QRgb> found;
  const QRect inside = area & image.rect();
  for (int y = inside.top(); y < inside.bottom(); y += 7) {
    for (int x = inside.left(); x < inside.right(); x += 7) found.insert(image.pixel(x, y));
  }
  return static_cast<int>(found.size());
}

QWidget* visibleChild(const QWidget& window, const char* name) {
  QWidget* const found = window.findChild<QWidget*>(name);
  return found && found->isVisible() ? found : nullptr;
}

void sendMouse(QWidget* widget, QEvent::Type kind, const QPoint& at, Qt::MouseButtons held) {
  QMouseEvent event(kind, at, widget->mapToGlobal(at), Qt::LeftButton, held, Qt::NoModifier);
  QApplication::sendEvent(widget, &event);
}

}  // namespace

Visitor::Visitor(Surroundings surroundings) : here_(std::move(surroundings)) {
  QObject::connect(&timer_, &QTimer::timeout, [this] { look(); });
  timer_.start(kLookMilliseconds);
}

void Visitor::look() {
  QWidget* const banner = visibleChild(*here_.window, "korvaniBanner");
  if (banner) {
    // A pointer that rests on a banner keeps it until the visitor has a hand free.
    QEnterEvent enter(banner->rect().center(), banner->pos(), QCursor::pos());
    QApplication::sendEvent(banner, &enter);
  }
  if (!nothingMoves()) return;
  if (QWidget* alert = visibleChild(*here_.window, "korvaniAlert")) {
    answerAlert(alert);
  } else if (!pictures_.contains("home")) {
    takePicture("home");
    press(named("Debug lines"));
  } else if (const auto presented = here_.root()->presentedViewController()) {
    const auto navigation = std::dynamic_pointer_cast<NavigationController>(presented);
    look(navigation ? navigation->topViewController() : presented);
  } else if (visibleChild(*here_.window, "korvaniPopUp")) {
    return;  // it is about to leave
  } else if (banner) {
    if (banner->y() >= 0) openNotification(banner);  // it has slid in
  } else if (isNotified()) {
    openOnDesktop();
  } else {
    lookAround();
  }
}

bool Visitor::nothingMoves() {
  const QPixmap picture =
      looksAtScreen_ ? here_.window->screen()->grabWindow() : here_.window->grab();
  const QImage now = picture.toImage();
  return now == std::exchange(seen_, now);
}

void Visitor::answerAlert(QWidget* alert) {
  takePicture("alert");
  press(alert->findChild<QAbstractButton*>());
}

void Visitor::look(const std::shared_ptr<ViewController>& screen) {
  const View& view = *screen->view();
  const auto page = find<WebView>(view);
  const auto picture = find<ImageView>(view);
  const View* const content = page ? static_cast<const View*>(page.get()) : picture.get();
  if (!content) return;
  waitingFor_ = page ? "the page to be painted" : "the image to be painted";
  const QRect area = toRect(content->frame());
  if (!isOnTop(area, page ? nullptr : "Image")) return;
  // A banner may lie over the upper part.
  if (colours(seen_, area.adjusted(0, area.height() / 4, 0, 0)) < kColoursOfContent) return;

  if (page) {
    takePicture(screen->navigationController() ? "pushed-page" : "page");
    press(*find<Button>(view, hasImage));
  } else if (tapped_.lock() != screen) {
    takePicture("image");
    tapped_ = screen;
    press(*find<Button>(view, hasNoImage));
  }
}

/// The models run ahead of what is shown: has the screen come to rest, and is it a button of this
/// name that lies there, or none at all?
bool Visitor::isOnTop(const QRect& area, const char* button) const {
  const QWidget* const found = here_.window->childAt(area.center());
  if (!found || !visibleChild(*here_.window, "korvaniPopUp") ||
      found->mapTo(here_.window, QPoint()) != area.topLeft()) {
    return false;
  }
  const auto* const pressed = qobject_cast<const QAbstractButton*>(found);
  return pressed ? pressed->accessibleName() == button : !button;
}

void Visitor::openNotification(QWidget* banner) {
  takePicture("notification");
  pressAt(banner->geometry().center());
}

/// One at a time: what was opened last has come back to the host.
bool Visitor::isNotified() const {
  return here_.dunst && here_.opened() == openedOnDesktop_ && here_.posted() > here_.opened();
}

/// Look by look: has it shown, sees it, opens it.
void Visitor::openOnDesktop() {
  waitingFor_ = "dunst to show the notification";
  if (!std::exchange(looksAtScreen_, true)) return here_.dunst->setHeld(false);
  if (!std::exchange(isShown_, here_.dunst->showsSomething())) return;
  takePicture("notification");
  looksAtScreen_ = isShown_ = false;
  ++openedOnDesktop_;
  here_.dunst->open();
  here_.dunst->setHeld(true);
  waitingFor_ = "the opened notification to come back";
}

void Visitor::lookAround() {
  waitingFor_ = "the road to be complete";
  if (!here_.roadIsComplete()) return;
  const QAbstractButton* const closeLog = named("Close the log");
  if (!closeLog->isVisible()) return press(named("Kit log"));
  if (!here_.window->rect().contains(closeLog->mapTo(here_.window, QPoint()))) return;
  takePicture("log");
  timer_.stop();
  here_.leave();
}

void Visitor::takePicture(const QString& name) {
  if (pictures_.contains(name)) return;
  pictures_.insert(name);
  if (here_.pictures.isEmpty()) return;
  const QString file = QDir(here_.pictures).filePath(name + ".png");
  if (!seen_.save(file)) qWarning("korvani-demo: %s cannot be written", qPrintable(file));
}

void Visitor::press(const View& view) {
  pressAt((toRect(view.frame()) & here_.window->rect()).center());
}

QAbstractButton* Visitor::named(const QString& accessibleName) const {
  const auto buttons = here_.window->findChildren<QAbstractButton*>();
  const auto found = std::find_if(
      buttons.begin(), buttons.end(),
      [&](const QAbstractButton* button) { return button->accessibleName() == accessibleName; });
  return found == buttons.end() ? nullptr : *found;
}

void Visitor::press(const QAbstractButton* button) {
  pressAt(button->mapTo(here_.window, button->rect().center()));
}

void Visitor::pressAt(const QPoint& point) {
  QWidget* const widget = here_.window->childAt(point);
  if (!widget) return;
  const QPoint at = widget->mapFrom(here_.window, point);
  sendMouse(widget, QEvent::MouseButtonPress, at, Qt::LeftButton);
  sendMouse(widget, QEvent::MouseButtonRelease, at, Qt::NoButton);
}

}  // namespace demo
