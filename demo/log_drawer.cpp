// The drawer's sheet: a title, a button that closes it, and the lines, newest last.
#include "log_drawer.h"

#include <QAbstractButton>
#include <QFontDatabase>
#include <QKeyEvent>
#include <QPainter>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextEdit>
#include <algorithm>

#include "drawings.h"

namespace demo {
namespace {

constexpr int kMostLines = 2000;
constexpr int kHeader = 76;
const QColor kNight{0x1b, 0x2c, 0x22};

/// The dark sheet with its title, which stands on the window's edge.
class Sheet final : public QWidget {
 public:
  using QWidget::QWidget;

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(kNight);
    painter.drawRoundedRect(rect().adjusted(0, 0, 0, 40), 24, 24);
    painter.setBrush(QColor(255, 255, 255, 60));
    painter.drawRoundedRect(QRectF(width() / 2.0 - 20, 10, 40, 4), 2, 2);
    painter.setPen(kCream);
    painter.setFont(type(20, QFont::DemiBold));
    painter.drawText(QRect(24, 26, width() - 90, 36), Qt::AlignLeft | Qt::AlignVCenter, "Kit log");
  }
};

/// A round button with a cross.
class CloseButton final : public QAbstractButton {
 public:
  explicit CloseButton(QWidget* parent) : QAbstractButton(parent) {
    setAccessibleName("Close the log");
    setCursor(Qt::PointingHandCursor);
  }

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(Qt::NoPen);
    painter.setBrush(QColor(255, 255, 255, isDown() || hasFocus() ? 60 : 28));
    painter.drawEllipse(rect());
    painter.setPen(QPen(kCream, 2, Qt::SolidLine, Qt::RoundCap));
    const QRectF cross(QRectF(rect()).center() - QPointF(5, 5), QSizeF(10, 10));
    painter.drawLine(cross.topLeft(), cross.bottomRight());
    painter.drawLine(cross.topRight(), cross.bottomLeft());
  }
};

QTextEdit* newText(QWidget* parent) {
  auto* text = new QTextEdit(parent);
  text->setReadOnly(true);
  text->setAccessibleName("Lines of the kit");
  text->setFrameShape(QFrame::NoFrame);
  text->document()->setMaximumBlockCount(kMostLines);
  text->setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
  text->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  text->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
  font.setPixelSize(11);
  text->setFont(font);
  QPalette palette = text->palette();
  palette.setColor(QPalette::Base, kNight);
  palette.setColor(QPalette::Text, kCream);
  text->setPalette(palette);
  return text;
}

/// A line as markup, its time set apart.
QString marked(const QString& line) {
  return QStringLiteral("<span style='color:%1'>%2</span>&nbsp; %3")
      .arg(kSun.name(), line.section(' ', 0, 0), line.section(' ', 1).toHtmlEscaped());
}

}  // namespace

LogDrawer::LogDrawer(QWidget* parent)
    : QWidget(parent), sheet_(new Sheet(this)), text_(newText(sheet_)) {
  hide();
  auto* button = new CloseButton(sheet_);
  button->setObjectName("close");
  connect(button, &QAbstractButton::clicked, this, &LogDrawer::close);
  slide_.setDuration(260);
  slide_.setEasingCurve(QEasingCurve::OutCubic);
  connect(&slide_, &QVariantAnimation::valueChanged, this, [this](const QVariant& openness) {
    openness_ = openness.toDouble();
    layOut();
  });
  connect(&slide_, &QVariantAnimation::finished, this, [this] { setVisible(openness_ > 0); });
}

void LogDrawer::add(const QStringList& lines) {
  if (lines.isEmpty()) return;
  QScrollBar* const bar = text_->verticalScrollBar();
  const bool atEnd = bar->value() == bar->maximum();
  QTextBlockFormat spaced;
  spaced.setLineHeight(118, QTextBlockFormat::ProportionalHeight);
  spaced.setBottomMargin(6);
  for (const QString& line : lines) {
    text_->append(marked(line));
    QTextCursor(text_->document()->lastBlock()).setBlockFormat(spaced);
  }
  if (atEnd) bar->setValue(bar->maximum());
}

void LogDrawer::open() {
  resize(parentWidget()->size());
  raise();
  show();
  setFocus();
  slideTo(1);
}

void LogDrawer::close() { slideTo(0); }

void LogDrawer::slideTo(double openness) {
  slide_.stop();
  slide_.setStartValue(openness_);
  slide_.setEndValue(openness);
  slide_.start();
}

void LogDrawer::layOut() {
  const int sheetHeight = std::min(height() - 80, height() * 2 / 3);
  sheet_->setGeometry(0, height() - qRound(sheetHeight * openness_), width(), sheetHeight);
  sheet_->findChild<QWidget*>("close")->setGeometry(width() - 24 - 32, 28, 32, 32);
  text_->setGeometry(20, kHeader, width() - 40, sheetHeight - kHeader - 12);
  update();
}

void LogDrawer::paintEvent(QPaintEvent*) {
  QPainter painter(this);
  painter.fillRect(rect(), QColor(16, 28, 20, qRound(120 * openness_)));
}

void LogDrawer::resizeEvent(QResizeEvent*) { layOut(); }

void LogDrawer::mousePressEvent(QMouseEvent*) { close(); }

void LogDrawer::keyPressEvent(QKeyEvent* event) {
  if (event->key() == Qt::Key_Escape) return close();
  QWidget::keyPressEvent(event);
}

}  // namespace demo
