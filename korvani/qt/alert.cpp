// The card: a title if there is one, the message, and one button; Return and Escape press it.
#include <korvani/platform/utf8.h>
#include <korvani/qt/alert.h>
#include <korvani/qt/canvas.h>
#include <korvani/qt/cover.h>

#include <QAbstractTextDocumentLayout>
#include <QAccessible>
#include <QLabel>
#include <QPaintEvent>
#include <QPushButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QScroller>
#include <QStyleOptionSlider>
#include <QTextCursor>
#include <QTextDocument>
#include <algorithm>
#include <cmath>

namespace korvani::qt {
namespace {

constexpr int kCardWidth = 300;
constexpr int kPadding = 20;
constexpr int kRadius = 16;
constexpr int kButtonHeight = 46;
constexpr std::size_t kMostCharacters = 1000;

std::string shortenedText(const std::string& text) {
  const std::size_t end = platform::utf8Offset(text, kMostCharacters);
  return end == text.npos ? text : text.substr(0, end) + "\u2026";
}

/// Plain text, laid out once for a width, where Qt's editor does it for each step of being shown.
class Message final : public QWidget {
 public:
  Message(const QString& text, const QFont& font, const QColor& color) {
    setAccessibleName(text);
    context_.palette.setColor(QPalette::Text, color);
    QTextOption breaks;
    breaks.setWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    document_.setDefaultTextOption(breaks);
    document_.setDefaultFont(font);
    document_.setDocumentMargin(0);
    document_.setPlainText(text);
    QTextBlockFormat format;
    format.setAlignment(Qt::AlignHCenter);
    format.setLineHeight(125, QTextBlockFormat::ProportionalHeight);
    QTextCursor all(&document_);
    all.select(QTextCursor::Document);
    all.mergeBlockFormat(format);
  }

  /// Takes the height that the text needs.
  void setWidth(int width) {
    if (width != this->width()) document_.setTextWidth(width);
    resize(width, static_cast<int>(std::ceil(document_.size().height())));
  }

 protected:
  void paintEvent(QPaintEvent* event) override {
    QPainter painter(this);
    context_.clip = event->rect();
    document_.documentLayout()->draw(&painter, context_);
  }

 private:
  QTextDocument document_;
  QAbstractTextDocumentLayout::PaintContext context_;
};

/// A slim one, and plain: to draw the style's, Qt would wait for threads of its own.
class SlimScrollBar final : public QScrollBar {
 public:
  explicit SlimScrollBar(const QColor& color) : QScrollBar(Qt::Vertical), color_(color) {}

 protected:
  void paintEvent(QPaintEvent*) override {
    QStyleOptionSlider option;
    initStyleOption(&option);
    QRect slider =
        style()->subControlRect(QStyle::CC_ScrollBar, &option, QStyle::SC_ScrollBarSlider, this);
    slider.adjust(slider.width() - 2 * kWidth, 0, -kWidth, 0);
    QPainter(this).fillRect(slider, color_);
  }

 private:
  static constexpr int kWidth = 4;
  const QColor color_;
};

class AlertCover final : public Cover {
 public:
  AlertCover(QWidget* canvas, const platform::Alert& alert)
      : Cover(canvas, Order::kAlert), colors_(CardColors::of(palette())), dim_(2, 1) {
    dim_.fill(QColor(0, 0, 0, 110));
    setObjectName("korvaniAlert");
    setAccessibleName(QString::fromStdString(alert.message));
    makeTitle(alert.title);
    makeMessage(alert.message);
    makeButton(alert.cancelButtonTitle);
  }

  void open() {
    reveal();
    button_->setFocus();
    QAccessibleEvent event(this, QAccessible::Alert);
    QAccessible::updateAccessibility(&event);
  }
  QPushButton* button() const { return button_; }

  QRegion shape() const override { return cardShape(card_, kRadius); }
  void goBack() override { button_->click(); }

 protected:
  void place(const QSize& window) override {
    Cover::place(window);
    const int width = std::min(kCardWidth, window.width() - 2 * kPadding);
    const int inner = width - 2 * kPadding;
    const int titleHeight = title_->text().isEmpty() ? 0 : title_->heightForWidth(inner) + 8;
    const int around = 2 * kPadding + titleHeight + kButtonHeight;
    message_->setWidth(inner);
    const int textHeight =
        std::min(message_->height(), std::max(0, window.height() - around - 2 * kPadding));

    card_ = QRect(0, 0, width, around + textHeight);
    card_.moveCenter(rect().center());
    const QPoint text = card_.topLeft() + QPoint(kPadding, kPadding);
    title_->setGeometry(QRect(text, QSize(inner, titleHeight)));
    // As far as the card's edge, where a scroll bar has room.
    scrolled_->setGeometry(text.x(), text.y() + titleHeight, inner + kPadding, textHeight);
    button_->setGeometry(card_.left(), card_.bottom() + 1 - kButtonHeight, width, kButtonHeight);
    shapeChanged();
  }

  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    // Stretched pixels: with a colour to fill, Qt would wait for threads of its own.
    painter.drawPixmap(rect(), dim_);
    paintCard(painter, card_, kRadius, colors_.fill);
    painter.setPen(QPen(colors_.line, 1));
    painter.drawLine(button_->geometry().topLeft(), button_->geometry().topRight());
  }

 private:
  void makeTitle(const std::optional<std::string>& text) {
    title_ = new QLabel(text ? QString::fromStdString(*text) : QString(), this);
    title_->setTextFormat(Qt::PlainText);
    title_->setAlignment(Qt::AlignHCenter | Qt::AlignTop);
    title_->setWordWrap(true);
    QFont bold = font();
    bold.setPixelSize(17);
    bold.setBold(true);
    title_->setFont(bold);
    QPalette colored = palette();
    colored.setColor(QPalette::WindowText, colors_.text);
    title_->setPalette(colored);
  }

  void makeMessage(const std::string& text) {
    QFont plain = font();
    plain.setPixelSize(15);
    message_ = new Message(QString::fromStdString(text), plain, colors_.text);
    scrolled_ = new QScrollArea(this);
    scrolled_->setObjectName("message");
    scrolled_->setFocusPolicy(Qt::NoFocus);
    scrolled_->setFrameShape(QFrame::NoFrame);
    scrolled_->setVerticalScrollBar(new SlimScrollBar(colors_.quietText));
    scrolled_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    scrolled_->setWidget(message_);
    message_->setAutoFillBackground(false);
    scrolled_->viewport()->setAutoFillBackground(false);
    QScroller::grabGesture(scrolled_->viewport());
  }

  void makeButton(const std::string& text) {
    QString title = QString::fromStdString(text);
    button_ = new QPushButton(title.replace("&", "&&"), this);
    button_->setAccessibleName(QString::fromStdString(text));
    button_->setCursor(Qt::PointingHandCursor);
    button_->setStyleSheet(
        QString("QPushButton { border: none; background: transparent; color: %1; font-size: 17px;"
                " font-weight: 600; border-bottom-left-radius: 16px;"
                " border-bottom-right-radius: 16px; }"
                "QPushButton:hover { background: rgba(128, 128, 128, 24); }"
                "QPushButton:pressed { background: rgba(128, 128, 128, 56); }")
            .arg(colors_.accent.name()));
  }

  const CardColors colors_;
  QPixmap dim_;
  QRect card_;
  QLabel* title_ = nullptr;
  QScrollArea* scrolled_ = nullptr;
  Message* message_ = nullptr;
  QPushButton* button_ = nullptr;
};

}  // namespace

platform::Alert shortened(const platform::Alert& alert) {
  platform::Alert shown{
      {}, shortenedText(alert.message), alert.delegate, shortenedText(alert.cancelButtonTitle)};
  if (alert.title) shown.title = shortenedText(*alert.title);
  return shown;
}

void Alerts::show(const platform::Alert& alert) {
  waiting_.push_back(alert);
  showNext();
}

void Alerts::showNext() {
  if (shown_ || waiting_.empty() || !canvas_.widget()) return;
  const platform::Alert alert = std::move(waiting_.front());
  waiting_.pop_front();
  auto* cover = new AlertCover(canvas_.widget(), alert);
  shown_ = cover;
  QObject::connect(cover->button(), &QPushButton::clicked, &context_, [this, cover, alert] {
    cover->retire();
    cover->setParent(nullptr);
    cover->deleteLater();
    answered(alert);
  });
  cover->open();
}

void Alerts::answered(const platform::Alert& alert) {
  shown_ = nullptr;
  showNext();
  if (const auto delegate = alert.delegate.lock()) delegate->alertClickedButtonAtIndex(0);
}

}  // namespace korvani::qt
