// The card: the host's icon and name, the text, a button over all of it, and one to close it.
#include <korvani/qt/banner.h>
#include <korvani/qt/canvas.h>
#include <korvani/qt/cover.h>
#include <korvani/qt/motion.h>

#include <QAbstractButton>
#include <QAccessible>
#include <QApplication>
#include <QTextLayout>
#include <QTimer>
#include <QVariantAnimation>
#include <algorithm>
#include <vector>

namespace korvani::qt {
namespace {

constexpr int kMargin = 10;
constexpr int kPadding = 14;
constexpr int kIcon = 36;
constexpr int kMostWidth = 420;
constexpr int kMostLines = 4;
constexpr qsizetype kMostCharacters = 400;
constexpr int kRadius = 18;

/// A button that its card draws, but for the cross of the one that closes it.
class CardButton final : public QAbstractButton {
 public:
  CardButton(const QString& name, const QColor& cross, QWidget* parent)
      : QAbstractButton(parent), cross_(cross) {
    setAccessibleName(name);
    setCursor(Qt::PointingHandCursor);
  }

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    if (!cross_.isValid()) return;
    painter.setPen(
        QPen(underMouse() ? cross_.darker(140) : cross_, 1.8, Qt::SolidLine, Qt::RoundCap));
    const QRectF cross(QRectF(rect()).center() - QPointF(4.5, 4.5), QSizeF(9, 9));
    painter.drawLine(cross.topLeft(), cross.bottomRight());
    painter.drawLine(cross.topRight(), cross.bottomLeft());
  }

 private:
  const QColor cross_;
};

QFont sized(QFont font, int pixels, QFont::Weight weight = QFont::Normal) {
  font.setPixelSize(pixels);
  font.setWeight(weight);
  return font;
}

}  // namespace

class BannerCard final : public Layer {
 public:
  BannerCard(QWidget* canvas, const Motion& motion, const QString& text,
             std::chrono::milliseconds stay)
      : Layer(canvas, Order::kBanner),
        motion_(motion),
        text_(text.left(kMostCharacters).simplified()),
        colors_(CardColors::of(palette())),
        body_(new CardButton(text_, {}, this)),
        close_(new CardButton("Close", colors_.quietText, this)) {
    setObjectName("korvaniBanner");
    stay_.setSingleShot(true);
    stay_.setInterval(stay);
    connect(&stay_, &QTimer::timeout, this, &BannerCard::leave);
    connect(close_, &QAbstractButton::clicked, this, &BannerCard::leave);
    slide_.setEasingCurve(QEasingCurve::OutCubic);
    connect(&slide_, &QVariantAnimation::valueChanged, this,
            [this](const QVariant& y) { move(x(), y.toInt()); });
  }

  QAbstractButton* body() const { return body_; }
  QRegion shape() const override { return cardShape(card_.translated(pos()), kRadius); }
  void goBack() override { leave(); }

  void enter() {
    raiseInOrder();
    move(x(), -height());
    slideTo(0);
    stay_.start();
    QAccessibleEvent event(this, QAccessible::Alert);
    QAccessible::updateAccessibility(&event);
  }

  /// Slides out and deletes itself.
  void leave() {
    if (leaving_) return;
    leaving_ = true;
    stay_.stop();
    body_->setEnabled(false);
    close_->setEnabled(false);
    connect(&slide_, &QAbstractAnimation::finished, this, &QObject::deleteLater);
    slideTo(-height());
  }

 protected:
  void place(const QSize& window) override {
    const int cardWidth = std::min(kMostWidth, window.width() - 2 * kMargin);
    layOut(std::max(0, cardWidth - 3 * kPadding - kIcon));
    card_ = QRect(kCardShadow, kMargin, cardWidth, std::max(kIcon, textBottom_) + 2 * kPadding);
    resize(cardWidth + 2 * kCardShadow, card_.bottom() + 1 + kCardShadow + 4);
    move((window.width() - width()) / 2, y());
    body_->setGeometry(card_);
    close_->setGeometry(card_.right() - 35, card_.top() + 2, 34, 34);
    update();
  }

  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    paintCard(painter, card_, kRadius, body_->isDown() ? colors_.line : colors_.fill);
    paintIcon(painter, QRect(card_.topLeft() + QPoint(kPadding, kPadding), QSize(kIcon, kIcon)));

    const QPoint text = card_.topLeft() + QPoint(2 * kPadding + kIcon, kPadding);
    const QFont nameFont = sized(font(), 12, QFont::DemiBold);
    const QFontMetrics metrics(nameFont);
    painter.setFont(nameFont);
    painter.setPen(colors_.quietText);
    painter.drawText(text + QPoint(0, metrics.ascent()),
                     metrics.elidedText(QGuiApplication::applicationDisplayName(), Qt::ElideRight,
                                        close_->x() - text.x()));
    painter.setFont(sized(font(), 15));
    painter.setPen(colors_.text);
    for (const Line& line : lines_) painter.drawText(text + QPoint(0, line.baseline), line.text);
  }

  void enterEvent(QEnterEvent*) override { stay_.stop(); }
  void leaveEvent(QEvent*) override {
    if (!leaving_) stay_.start();
  }

 private:
  struct Line {
    QString text;
    int baseline;
  };

  void slideTo(int y) {
    slide_.stop();
    slide_.setDuration(motion_.slideMilliseconds());
    slide_.setStartValue(this->y());
    slide_.setEndValue(y);
    slide_.start();
  }

  /// Breaks the text into lines below the host's name; the last one is elided.
  void layOut(int textWidth) {
    const QFont textFont = sized(font(), 15);
    const QFontMetrics metrics(textFont);
    QTextLayout layout(text_, textFont);
    QTextOption option;
    option.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    layout.setTextOption(option);
    layout.beginLayout();
    lines_.clear();
    int top = QFontMetrics(sized(font(), 12, QFont::DemiBold)).height() + 3;
    for (QTextLine line = layout.createLine(); line.isValid(); line = layout.createLine()) {
      line.setLineWidth(textWidth);
      const bool last = lines_.size() + 1 == kMostLines;
      const QString rest = text_.mid(line.textStart());
      lines_.push_back({last ? metrics.elidedText(rest, Qt::ElideRight, textWidth)
                             : rest.left(line.textLength()),
                        top + metrics.ascent()});
      top += metrics.height() + 1;
      if (last) break;
    }
    layout.endLayout();
    textBottom_ = top;
  }

  /// The host's icon, or the first letter of its name on a tile.
  void paintIcon(QPainter& painter, const QRect& tile) {
    const QIcon icon = window()->windowIcon();
    if (!icon.isNull()) {
      icon.paint(&painter, tile);
      return;
    }
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(colors_.accent);
    painter.drawRoundedRect(tile, 9, 9);
    painter.setPen(Qt::white);
    painter.setFont(sized(font(), 19, QFont::DemiBold));
    painter.drawText(tile, Qt::AlignCenter,
                     QGuiApplication::applicationDisplayName().left(1).toUpper());
  }

  const Motion& motion_;
  const QString text_;
  const CardColors colors_;
  CardButton* const body_;
  CardButton* const close_;
  QTimer stay_;
  QVariantAnimation slide_;
  bool leaving_ = false;
  QRect card_;
  std::vector<Line> lines_;
  int textBottom_ = 0;
};

Banners::Banners(Canvas& canvas, const Motion& motion, std::chrono::milliseconds stay)
    : canvas_(canvas), motion_(motion), stay_(stay) {}

Banners::~Banners() { delete shown_; }

void Banners::show(NextBanner next) {
  next_ = std::move(next);
  showNext();
}

void Banners::showNext() {
  if (shown_ || !canvas_.isSeen() || !canvas_.widget()) return;
  const std::optional<Banner> banner = next_();
  if (!banner) return;
  shown_ = new BannerCard(canvas_.widget(), motion_, QString::fromStdString(banner->text), stay_);
  QObject::connect(shown_->body(), &QAbstractButton::clicked, &context_,
                   [this, opened = banner->opened] {
                     shown_->leave();
                     if (opened) opened();
                   });
  QObject::connect(
      shown_, &QObject::destroyed, &context_, [this] { showNext(); }, Qt::QueuedConnection);
  shown_->enter();
}

}  // namespace korvani::qt
