// Layers watch their window for its size; a cover goes round its own widgets on Tab, and answers
// Qt's question, before each key, whether that is to be a shortcut.
#include <korvani/qt/canvas.h>
#include <korvani/qt/cover.h>
#include <qdrawutil.h>

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QEvent>
#include <QImage>
#include <QKeyEvent>
#include <QPainterPath>
#include <QPixmap>
#include <QShortcut>
#include <QWindow>
#include <QtMath>
#include <algorithm>
#include <cmath>

namespace korvani::qt {

bool holdsWindows(const QWidget& window) {
  const QWindow* const native = window.windowHandle();
  return native && native->findChild<QWindow*>(QString(), Qt::FindDirectChildrenOnly);
}

namespace {

bool isBack(const QKeyEvent& key) {
  return key.key() == Qt::Key_Escape || key.key() == Qt::Key_Back;
}

QList<QKeySequence> shortcutsOf(const QObject* part) {
  if (const auto* shortcut = qobject_cast<const QShortcut*>(part)) return shortcut->keys();
  if (const auto* action = qobject_cast<const QAction*>(part)) return action->shortcuts();
  if (const auto* button = qobject_cast<const QAbstractButton*>(part)) return {button->shortcut()};
  return {};
}

/// How far from a rounded square around the origin a point lies; less than 0 within.
double distance(const QPointF& point, double halfSide, double radius) {
  const double x = std::max(std::abs(point.x()) - halfSide + radius, 0.0);
  const double y = std::max(std::abs(point.y()) - halfSide + radius, 0.0);
  return std::hypot(x, y) - radius;
}

/// A card that has hardly more than its corners, from which any other is stretched. Qt would share
/// each shape that it draws with threads of its own and wait for them, which takes longer.
QPixmap smallestCard(int cornerPixels, double scale, double radius, const QColor& fill) {
  constexpr double kShadowDown = 4;
  constexpr double kShadowWidth = kCardShadow - kShadowDown;
  constexpr double kDarkest = 42;
  const int side = 2 * cornerPixels + 1;
  const double halfSide = side / (2 * scale);
  QImage image(side, side, QImage::Format_ARGB32_Premultiplied);
  for (int y = 0; y < side; ++y) {
    for (int x = 0; x < side; ++x) {
      const QPointF point((x + 0.5) / scale - halfSide, (y + 0.5) / scale - halfSide);
      const double ofCard = distance(point, halfSide - kCardShadow, radius) * scale;
      const double ofShadow =
          distance(point - QPointF(0, kShadowDown), halfSide - kCardShadow, radius);
      const double covered = std::clamp(0.5 - ofCard, 0.0, 1.0);
      const double dark = kDarkest * std::clamp(1 - ofShadow / kShadowWidth, 0.0, 1.0);
      const auto part = [&](int color) { return qRound(covered * color); };
      image.setPixel(x, y,
                     qRgba(part(fill.red()), part(fill.green()), part(fill.blue()),
                           qRound(255 * covered + dark * (1 - covered))));
    }
  }
  return QPixmap::fromImage(image);
}

}  // namespace

Layer::Layer(QWidget* canvas, Order order) : QWidget(canvas), order_(order) {
  hide();
  setAttribute(Qt::WA_NoMousePropagation);
  canvas->installEventFilter(this);
}

void Layer::raiseInOrder() {
  place(parentWidget()->size());
  show();
  for (Layer* layer : shownOn(parentWidget())) {
    if (holdsWindows(*window())) layer->winId();
    layer->raise();
  }
}

std::vector<Layer*> Layer::layersOn(const QWidget* canvas) {
  std::vector<Layer*> layers;
  for (QObject* child : canvas->children()) {
    if (auto* layer = dynamic_cast<Layer*>(child)) layers.push_back(layer);
  }
  std::stable_sort(layers.begin(), layers.end(),
                   [](const Layer* a, const Layer* b) { return a->order_ < b->order_; });
  return layers;
}

std::vector<Layer*> Layer::shownOn(const QWidget* canvas) {
  std::vector<Layer*> layers = layersOn(canvas);
  std::erase_if(layers, [](const Layer* layer) { return layer->isHidden(); });
  return layers;
}

void Layer::shapeChanged() {
  if (auto* sheet = dynamic_cast<Sheet*>(parentWidget())) sheet->layersChanged();
}

bool Layer::event(QEvent* event) {
  const bool done = QWidget::event(event);
  switch (event->type()) {
    case QEvent::ShowToParent:
    case QEvent::HideToParent:
    case QEvent::Move:
    case QEvent::Resize:
      shapeChanged();
      break;
    default:
      break;
  }
  return done;
}

bool Layer::eventFilter(QObject* watched, QEvent* event) {
  if (watched == parentWidget() && event->type() == QEvent::Resize) place(parentWidget()->size());
  return QWidget::eventFilter(watched, event);
}

void Cover::reveal() {
  Cover* const above = shownAbove();
  if (isHidden()) focusedBefore_ = above ? above->focusedBefore_.data() : window()->focusWidget();
  raiseInOrder();
  if (above) {
    above->focusedBefore_ = this;
  } else {
    setFocus();
  }
}

void Cover::retire() {
  if (Cover* const above = shownAbove()) {
    above->focusedBefore_ = focusedBefore_;
  } else if (focusedBefore_) {
    focusedBefore_->setFocus();
  }
  hide();
}

Cover* Cover::shownAbove() const {
  for (Layer* layer : shownOn(parentWidget())) {
    auto* const cover = dynamic_cast<Cover*>(layer);
    if (cover && cover->order() > order()) return cover;
  }
  return nullptr;
}

bool Cover::focusNextPrevChild(bool next) {
  QWidget* const from =
      isAncestorOf(QApplication::focusWidget()) ? QApplication::focusWidget() : this;
  const auto step = [next](QWidget* widget) {
    return next ? widget->nextInFocusChain() : widget->previousInFocusChain();
  };
  for (QWidget* widget = step(from); widget != from; widget = step(widget)) {
    const bool takesTab = (widget->focusPolicy() & Qt::TabFocus) && widget->isEnabled();
    if (!takesTab || !widget->isVisible() || !focusScope()->isAncestorOf(widget)) continue;
    widget->setFocus(next ? Qt::TabFocusReason : Qt::BacktabFocusReason);
    break;
  }
  return true;
}

bool Cover::hasShortcut(const QKeyEvent& key) const {
  const QKeySequence pressed(key.keyCombination());
  const auto isPressed = [&](const QKeySequence& keys) {
    return pressed.matches(keys) != QKeySequence::NoMatch;
  };
  const auto parts = focusScope()->findChildren<QObject*>();
  return std::any_of(parts.begin(), parts.end(), [&](const QObject* part) {
    const QList<QKeySequence> shortcuts = shortcutsOf(part);
    return std::any_of(shortcuts.begin(), shortcuts.end(), isPressed);
  });
}

bool Cover::event(QEvent* event) {
  if (event->type() != QEvent::ShortcutOverride) return Layer::event(event);
  const auto& key = static_cast<const QKeyEvent&>(*event);
  // Caught on its way, as a web page would keep it.
  isToGoBack_ = isBack(key);
  if (isToGoBack_) QCoreApplication::instance()->installEventFilter(this);
  // An accepted one comes as a key press, whatever shortcuts the host has.
  event->setAccepted(isToGoBack_ || !hasShortcut(key));
  return true;
}

bool Cover::eventFilter(QObject* watched, QEvent* event) {
  if (!isToGoBack_ || event->type() != QEvent::KeyPress) return Layer::eventFilter(watched, event);
  isToGoBack_ = false;
  QCoreApplication::instance()->removeEventFilter(this);
  goBack();
  return true;
}

void Cover::keyPressEvent(QKeyEvent* event) {
  event->accept();
  if (isBack(*event)) return goBack();
  const int key = event->key();
  if (key != Qt::Key_Return && key != Qt::Key_Enter) return;
  if (auto* button = qobject_cast<QAbstractButton*>(focusWidget())) button->click();
}

CardColors CardColors::of(const QPalette& palette) {
  if (palette.color(QPalette::Window).lightness() < 128) {
    return {{44, 44, 48}, {242, 242, 245}, {160, 160, 168}, {72, 72, 78}, {90, 160, 255}};
  }
  return {{252, 252, 253}, {28, 28, 32}, {112, 112, 120}, {222, 222, 228}, {10, 98, 232}};
}

QRegion cardShape(const QRect& card, double radius) {
  QPainterPath path;
  path.addRoundedRect(card, radius, radius);
  return QRegion(path.toFillPolygon().toPolygon());
}

void paintCard(QPainter& painter, const QRect& card, int radius, const QColor& fill) {
  const int corner = kCardShadow + radius;
  const int pixels = qCeil(corner * painter.device()->devicePixelRatio());
  const QMargins shadow(kCardShadow, kCardShadow, kCardShadow, kCardShadow);
  const QPixmap smallest = smallestCard(pixels, static_cast<double>(pixels) / corner, radius, fill);
  qDrawBorderPixmap(&painter, card + shadow, QMargins(corner, corner, corner, corner), smallest,
                    smallest.rect(), QMargins(pixels, pixels, pixels, pixels));
}

}  // namespace korvani::qt
