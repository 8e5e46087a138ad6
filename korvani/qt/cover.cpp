// Layers watch their window for its size; a cover goes round its own widgets on Tab, and answers
// Qt's question, before each key, whether that is to be a shortcut.
#include <korvani/qt/canvas.h>
#include <korvani/qt/cover.h>

#include <QAbstractButton>
#include <QAction>
#include <QApplication>
#include <QEvent>
#include <QKeyEvent>
#include <QPainterPath>
#include <QShortcut>
#include <QWindow>
#include <algorithm>

namespace korvani::qt {
namespace {

bool isBack(const QKeyEvent& key) {
  return key.key() == Qt::Key_Escape || key.key() == Qt::Key_Back;
}

bool holdsWindows(const QWidget& window) {
  const QWindow* const native = window.windowHandle();
  return native && native->findChild<QWindow*>(QString(), Qt::FindDirectChildrenOnly);
}

QList<QKeySequence> shortcutsOf(const QObject* part) {
  if (const auto* shortcut = qobject_cast<const QShortcut*>(part)) return shortcut->keys();
  if (const auto* action = qobject_cast<const QAction*>(part)) return action->shortcuts();
  if (const auto* button = qobject_cast<const QAbstractButton*>(part)) return {button->shortcut()};
  return {};
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
    // What is drawn in the window itself lies under all windows in it, such as a video's.
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

void paintCard(QPainter& painter, const QRectF& card, double radius, const QColor& fill) {
  painter.setRenderHint(QPainter::Antialiasing);
  painter.setPen(Qt::NoPen);
  // Rings that overlap more and more towards the card: a shadow without the cost of a blur.
  painter.setBrush(QColor(0, 0, 0, 3));
  for (int spread = kCardShadow - 4; spread > 0; --spread) {
    const QRectF ring = card.adjusted(-spread, 4 - spread, spread, 4 + spread);
    painter.drawRoundedRect(ring, radius + spread, radius + spread);
  }
  painter.setBrush(fill);
  painter.drawRoundedRect(card, radius, radius);
}

}  // namespace korvani::qt
