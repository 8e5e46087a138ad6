// One widget class a model, on a common base that follows the frame, the background and the
// subviews.
#include <korvani/qt/image.h>
#include <korvani/qt/mirror.h>
#include <korvani/qt/web/web_view.h>

#include <QAbstractButton>
#include <QFocusEvent>
#include <QPainter>
#include <QPointer>
#include <cmath>

namespace korvani::qt {
namespace {

QRect toRect(const platform::Rect& frame) {
  return QRectF(frame.x, frame.y, frame.width, frame.height).toRect();
}

/// An image that is drawn sharp: scaled once to the device's own pixels, and kept so.
class Picture {
 public:
  void setImage(const std::shared_ptr<const platform::Image>& image) {
    const auto* decoded = dynamic_cast<const QtImage*>(image.get());
    source_ = decoded ? decoded->pixels() : QImage();
    size_ = image ? QSizeF(image->size().width, image->size().height) : QSizeF();
    scaled_ = {};
  }
  /// In points.
  const QSizeF& size() const { return size_; }

  void draw(QPainter& painter, const QRectF& target) {
    const qreal ratio = painter.device()->devicePixelRatioF();
    const QSize pixels = (target.size() * ratio).toSize();
    if (source_.isNull() || pixels.isEmpty()) return;
    if (scaled_.size() != pixels) {
      scaled_ = source_.scaled(pixels, Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
      scaled_.setDevicePixelRatio(ratio);
    }
    painter.drawImage(
        QPointF(std::round(target.x() * ratio) / ratio, std::round(target.y() * ratio) / ratio),
        scaled_);
  }

 private:
  QImage source_;
  QImage scaled_;
  QSizeF size_;
};

QRectF centred(const QSizeF& size, const QRectF& in) {
  return {in.center() - QPointF(size.width() / 2, size.height() / 2), size};
}

template <typename Base, typename Model>
class Mirror : public Base {
 public:
  Mirror(std::shared_ptr<Model> model, QWidget* parent) : Base(parent), model_(std::move(model)) {
    // The model may outlive this widget, and be mirrored again.
    model_->setChangeObserver([self = QPointer<Mirror>(this)] {
      if (self) self->follow();
    });
  }

  void setFillsParent() { fillsParent_ = true; }

  virtual void follow() {
    this->setGeometry(fillsParent_ ? this->parentWidget()->rect() : toRect(model_->frame()));
    for (; mirrored_ < model_->subviews().size(); ++mirrored_) {
      mirrorView(model_->subviews()[mirrored_], this);
    }
    this->update();
  }

 protected:
  Model& model() { return *model_; }
  virtual void draw(QPainter&) {}

  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    if (const auto& color = model_->backgroundColor()) {
      painter.fillRect(this->rect(), QColor(color->red, color->green, color->blue));
    }
    draw(painter);
  }

 private:
  const std::shared_ptr<Model> model_;
  bool fillsParent_ = false;
  std::size_t mirrored_ = 0;
};

using ViewMirror = Mirror<QWidget, platform::View>;

class ImageMirror final : public Mirror<QWidget, platform::ImageView> {
 public:
  using Mirror::Mirror;

  void follow() override {
    picture_.setImage(model().image());
    Mirror::follow();
  }

 protected:
  void draw(QPainter& painter) override {
    const bool fits = model().contentMode() == platform::ContentMode::kScaleAspectFit;
    const QSizeF size =
        fits ? picture_.size().scaled(rect().size(), Qt::KeepAspectRatio) : QSizeF(rect().size());
    picture_.draw(painter, centred(size, rect()));
  }

 private:
  Picture picture_;
};

class ButtonMirror final : public Mirror<QAbstractButton, platform::Button> {
 public:
  ButtonMirror(std::shared_ptr<platform::Button> button, QWidget* parent)
      : Mirror(std::move(button), parent) {
    setFocusPolicy(Qt::StrongFocus);
    connect(this, &QAbstractButton::clicked, this,
            [this] { model().sendActionsForControlEvent(platform::ControlEvent::kTouchUpInside); });
  }

  void follow() override {
    const auto& image = model().image(platform::ControlState::kNormal);
    picture_.setImage(image);
    setAccessibleName(image ? QStringLiteral("Close") : QStringLiteral("Image"));
    if (image) setCursor(Qt::PointingHandCursor);
    Mirror::follow();
  }

 protected:
  void draw(QPainter& painter) override {
    painter.setOpacity(isDown() ? 0.6 : 1.0);
    QSizeF size = picture_.size();
    if (size.width() > width() || size.height() > height()) {
      size.scale(rect().size(), Qt::KeepAspectRatio);
    }
    picture_.draw(painter, centred(size, rect()));
    if (focusedByKey_) drawFocus(painter);
  }

  void focusInEvent(QFocusEvent* event) override {
    focusedByKey_ =
        event->reason() == Qt::TabFocusReason || event->reason() == Qt::BacktabFocusReason;
    QAbstractButton::focusInEvent(event);
  }
  void focusOutEvent(QFocusEvent* event) override {
    focusedByKey_ = false;
    QAbstractButton::focusOutEvent(event);
  }

 private:
  /// A ring that is seen on any background, inside what is visible of the button.
  void drawFocus(QPainter& painter) {
    const QRectF ring = QRectF(visibleRegion().boundingRect()).adjusted(2, 2, -2, -2);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setOpacity(1);
    painter.setPen(QPen(Qt::black, 3));
    painter.drawRoundedRect(ring, 8, 8);
    painter.setPen(QPen(Qt::white, 1.5));
    painter.drawRoundedRect(ring, 8, 8);
  }

  Picture picture_;
  bool focusedByKey_ = false;
};

/// Holds the page's own widget.
class WebMirror final : public Mirror<QWidget, WebView> {
 public:
  using Mirror::Mirror;

  void follow() override {
    Mirror::follow();
    QWidget* const page = model().page();
    if (!page) return;
    if (page->parentWidget() != this) page->setParent(this);
    page->setGeometry(rect());
    page->show();
  }
};

template <typename Widget, typename Model>
QWidget* make(const std::shared_ptr<Model>& model, QWidget* parent, bool fillsParent) {
  auto* widget = new Widget(model, parent);
  if (fillsParent) widget->setFillsParent();
  widget->follow();
  widget->show();
  return widget;
}

}  // namespace

QWidget* mirrorView(const std::shared_ptr<platform::View>& view, QWidget* parent,
                    bool fillsParent) {
  if (auto button = std::dynamic_pointer_cast<platform::Button>(view)) {
    return make<ButtonMirror>(button, parent, fillsParent);
  }
  if (auto image = std::dynamic_pointer_cast<platform::ImageView>(view)) {
    return make<ImageMirror>(image, parent, fillsParent);
  }
  if (auto web = std::dynamic_pointer_cast<WebView>(view)) {
    return make<WebMirror>(web, parent, fillsParent);
  }
  return make<ViewMirror>(view, parent, fillsParent);
}

}  // namespace korvani::qt
