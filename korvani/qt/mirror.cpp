// One widget class a model, on a common base that follows the frame, the background and the
// subviews.
#include <korvani/qt/held_widget.h>
#include <korvani/qt/image.h>
#include <korvani/qt/mirror.h>

#include <QAbstractButton>
#include <QFocusEvent>
#include <QPainter>
#include <QPointer>
#include <algorithm>
#include <cmath>
#include <utility>

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
    size_ = image ? QSizeF(image->size().width, image->size().height) : QSizeF();
    setPixels(decoded ? decoded->pixels() : QImage());
  }
  void setPixels(const QImage& pixels) {
    source_ = pixels;
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
    }
    scaled_.setDevicePixelRatio(ratio);
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

/// What a mirror and those of its subviews know of each other.
class MirrorNode {
 public:
  virtual ~MirrorNode() = default;
  virtual void follow() = 0;
  /// Of the model.
  virtual platform::Size modelSize() const = 0;
};

/// What reaches the right or the lower edge of its model's parent goes on reaching that of the
/// widget's, so that a window that is turned or resized stays filled.
QRect stretched(QRect rect, const platform::Rect& frame, const platform::Size& model,
                const QSize& parent) {
  if (model.width <= 0 || model.height <= 0) return rect;
  if (frame.x + frame.width >= model.width) {
    rect.setWidth(std::max(0, rect.width() + parent.width() - qRound(model.width)));
  }
  if (frame.y + frame.height >= model.height) {
    rect.setHeight(std::max(0, rect.height() + parent.height() - qRound(model.height)));
  }
  return rect;
}

template <typename Base, typename Model>
class Mirror : public Base, public MirrorNode {
 public:
  Mirror(std::shared_ptr<Model> model, QWidget* parent) : Base(parent), model_(std::move(model)) {
    // The model may outlive this widget, and be mirrored again.
    model_->setChangeObserver([self = QPointer<Mirror>(this)] {
      if (self) self->follow();
    });
  }

  void follow() override {
    this->setGeometry(place());
    for (; mirrored_ < model_->subviews().size(); ++mirrored_) {
      mirrorView(model_->subviews()[mirrored_], this);
    }
    this->update();
  }

 protected:
  Model& model() { return *model_; }
  platform::Size modelSize() const override { return model_->bounds(); }
  virtual void draw(QPainter&) {}

  void resizeEvent(QResizeEvent*) override {
    for (QObject* child : this->children()) {
      if (auto* mirror = dynamic_cast<MirrorNode*>(child)) mirror->follow();
    }
  }

  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    painter.setRenderHint(QPainter::SmoothPixmapTransform);
    if (const auto& color = model_->backgroundColor()) {
      painter.fillRect(this->rect(), QColor(color->red, color->green, color->blue));
    }
    draw(painter);
  }

 private:
  QRect place() const {
    const QRect whole = this->parentWidget()->rect();
    const auto* parent = dynamic_cast<const MirrorNode*>(this->parentWidget());
    if (!parent) return whole;
    const platform::Rect& frame = model_->frame();
    return stretched(toRect(frame), frame, parent->modelSize(), whole.size());
  }

  const std::shared_ptr<Model> model_;
  std::size_t mirrored_ = 0;
};

using ViewMirror = Mirror<QWidget, platform::View>;

class ImageMirror final : public Mirror<QWidget, platform::ImageView> {
 public:
  ImageMirror(std::shared_ptr<platform::ImageView> view, QWidget* parent)
      : Mirror(std::move(view), parent) {
    setAccessibleName(QStringLiteral("Image"));
  }

  void follow() override {
    if (std::exchange(image_, model().image()) != model().image()) {
      picture_.setImage(image_);
      play();
    }
    Mirror::follow();
  }

 protected:
  void showEvent(QShowEvent*) override {
    if (player_) player_->setRunning(true);
  }
  void hideEvent(QHideEvent*) override {
    if (player_) player_->setRunning(false);
  }

  void draw(QPainter& painter) override {
    const bool fits = model().contentMode() == platform::ContentMode::kScaleAspectFit;
    const QSizeF size =
        fits ? picture_.size().scaled(rect().size(), Qt::KeepAspectRatio) : QSizeF(rect().size());
    picture_.draw(painter, centred(size, rect()));
  }

 private:
  void play() {
    player_.reset();
    const auto* decoded = dynamic_cast<const QtImage*>(image_.get());
    if (!decoded || !decoded->movie()) return;
    player_ = std::make_shared<MoviePlayer>(decoded->movie(), [this](const QImage& frame) {
      picture_.setPixels(frame);
      update();
    });
    player_->setRunning(isVisible());
  }

  std::shared_ptr<const platform::Image> image_;
  Picture picture_;
  std::shared_ptr<MoviePlayer> player_;
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

/// Takes the view's own widget as its child.
class HolderMirror final : public ViewMirror {
 public:
  using ViewMirror::ViewMirror;

  void follow() override {
    ViewMirror::follow();
    QWidget* const held = dynamic_cast<HeldWidget&>(model()).heldWidget();
    if (!held) return;
    if (held->parentWidget() != this) held->setParent(this);
    held->setGeometry(rect());
    held->show();
  }
};

template <typename Widget, typename Model>
QWidget* make(const std::shared_ptr<Model>& model, QWidget* parent) {
  auto* widget = new Widget(model, parent);
  widget->follow();
  widget->show();
  return widget;
}

}  // namespace

QWidget* mirrorView(const std::shared_ptr<platform::View>& view, QWidget* parent) {
  if (auto button = std::dynamic_pointer_cast<platform::Button>(view)) {
    return make<ButtonMirror>(button, parent);
  }
  if (auto image = std::dynamic_pointer_cast<platform::ImageView>(view)) {
    return make<ImageMirror>(image, parent);
  }
  if (std::dynamic_pointer_cast<HeldWidget>(view)) return make<HolderMirror>(view, parent);
  return make<ViewMirror>(view, parent);
}

}  // namespace korvani::qt
