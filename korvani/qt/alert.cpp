// The card: a title if there is one, the message, and one button; Return and Escape press it.
#include <korvani/platform/utf8.h>
#include <korvani/qt/alert.h>
#include <korvani/qt/canvas.h>
#include <korvani/qt/cover.h>

#include <QAccessible>
#include <QLabel>
#include <QPushButton>
#include <QTextBlockFormat>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextEdit>
#include <algorithm>
#include <cmath>
#include <memory>

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

class AlertCover final : public Cover {
 public:
  AlertCover(QWidget* canvas, const platform::Alert& alert)
      : Cover(canvas, Order::kAlert), colors_(CardColors::of(palette())) {
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
    const int textHeight =
        std::min(messageHeight(inner), std::max(0, window.height() - around - 2 * kPadding));

    card_ = QRect(0, 0, width, around + textHeight);
    card_.moveCenter(rect().center());
    const QPoint text = card_.topLeft() + QPoint(kPadding, kPadding);
    title_->setGeometry(QRect(text, QSize(inner, titleHeight)));
    message_->setGeometry(QRect(text + QPoint(0, titleHeight), QSize(inner, textHeight)));
    button_->setGeometry(card_.left(), card_.bottom() + 1 - kButtonHeight, width, kButtonHeight);
    shapeChanged();
  }

  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    painter.fillRect(rect(), QColor(0, 0, 0, 110));
    paintCard(painter, card_, kRadius, colors_.fill);
    painter.setPen(QPen(colors_.line, 1));
    painter.setRenderHint(QPainter::Antialiasing, false);
    painter.drawLine(button_->geometry().topLeft(), button_->geometry().topRight());
  }

 private:
  /// Asked of a copy: the editor lays out its own document only while it is visible.
  int messageHeight(int width) const {
    const std::unique_ptr<QTextDocument> copy(message_->document()->clone());
    copy->setTextWidth(width);
    return static_cast<int>(std::ceil(copy->size().height()));
  }

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
    message_ = new QTextEdit(this);
    message_->setObjectName("message");
    message_->setReadOnly(true);
    message_->setFocusPolicy(Qt::NoFocus);
    message_->setFrameShape(QFrame::NoFrame);
    message_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    message_->setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    message_->viewport()->setAutoFillBackground(false);
    message_->document()->setDocumentMargin(0);
    QFont plain = font();
    plain.setPixelSize(15);
    message_->setFont(plain);
    QPalette colored = palette();
    colored.setColor(QPalette::Text, colors_.text);
    message_->setPalette(colored);
    message_->setPlainText(QString::fromStdString(text));

    QTextBlockFormat format;
    format.setAlignment(Qt::AlignHCenter);
    format.setLineHeight(125, QTextBlockFormat::ProportionalHeight);
    QTextCursor all(message_->document());
    all.select(QTextCursor::Document);
    all.mergeBlockFormat(format);
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
  QRect card_;
  QLabel* title_ = nullptr;
  QTextEdit* message_ = nullptr;
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
