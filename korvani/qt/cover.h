// What lies over the host's window: layers in a fixed order that follow the window's size, the
// cover that keeps mouse and keyboard for itself, and the look that cards share.
#pragma once

#include <QColor>
#include <QPainter>
#include <QPointer>
#include <QRegion>
#include <QWidget>
#include <vector>

class QKeyEvent;

namespace korvani::qt {

/// What is drawn in such a window itself lies under all windows in it, such as a video's.
bool holdsWindows(const QWidget& window);

/// A child of the canvas that stands above its content. It dies with the canvas.
class Layer : public QWidget {
 public:
  /// Bottom to top.
  enum class Order { kStage, kBanner, kAlert };

  Layer(QWidget* canvas, Order order);

  /// The layers over that canvas that are not hidden, bottom to top.
  static std::vector<Layer*> shownOn(const QWidget* canvas);
  /// The part of the canvas that this draws on, where all around it is the host's.
  virtual QRegion shape() const { return geometry(); }
  /// The user wants to leave this: the Escape key, or the platform's gesture for going back.
  virtual void goBack() {}

 protected:
  bool event(QEvent* event) override;
  /// Shows this above the host's content and below the layers of higher order.
  void raiseInOrder();
  /// Sets the geometry for a canvas of that size.
  virtual void place(const QSize& window) = 0;
  bool eventFilter(QObject* watched, QEvent* event) override;
  Order order() const { return order_; }
  /// What `shape` depends on has changed.
  void shapeChanged();

 private:
  /// All over that canvas, bottom to top.
  static std::vector<Layer*> layersOn(const QWidget* canvas);

  const Order order_;
};

/// Covers the whole canvas: no touch and no key reaches the host's content while it is shown, nor
/// do the host's shortcuts work; those of a screen inside do.
class Cover : public Layer {
 public:
  using Layer::Layer;

  /// Shows it and takes the keyboard, which a cover above it keeps until it goes.
  void reveal();
  /// Hides it and gives the keyboard back to the widget that had it.
  void retire();

 protected:
  /// The widget in which Tab goes round.
  virtual const QWidget* focusScope() const { return this; }
  void place(const QSize& window) override { setGeometry(QRect({}, window)); }
  bool focusNextPrevChild(bool next) override;
  bool event(QEvent* event) override;
  bool eventFilter(QObject* watched, QEvent* event) override;
  /// Return presses the button that has the focus; Escape and Back go back.
  void keyPressEvent(QKeyEvent* event) override;

  /// Null for the one that has the keyboard.
  Cover* shownAbove() const;

 private:
  bool hasShortcut(const QKeyEvent& key) const;

  QPointer<QWidget> focusedBefore_;
  /// Escape or Back is about to be pressed, and nothing inside has asked for it.
  bool isToGoBack_ = false;
};

/// The colours of a card, light or dark as the host's palette is.
struct CardColors {
  QColor fill;
  QColor text;
  QColor quietText;
  QColor line;
  QColor accent;

  static CardColors of(const QPalette& palette);
};

/// The room that a card's shadow takes on each side.
constexpr int kCardShadow = 18;

/// A card by itself, for a host that is seen around it.
QRegion cardShape(const QRect& card, double radius);

/// A rounded card with a soft shadow around it.
void paintCard(QPainter& painter, const QRect& card, int radius, const QColor& fill);

}  // namespace korvani::qt
