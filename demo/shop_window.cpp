// Home is one tall painting in a scroll area, with a bar of two controls below it.
#include "shop_window.h"

#include <QAbstractButton>
#include <QCloseEvent>
#include <QCoreApplication>
#include <QPainter>
#include <QScrollArea>
#include <QTime>
#include <QVariantAnimation>
#include <array>
#include <utility>

#include "drawings.h"
#include "log_drawer.h"

namespace demo {
namespace {

constexpr int kBarHeight = 76;
constexpr int kHeaderHeight = 256;
constexpr int kCardsTop = 206;
constexpr int kCardHeight = 232;
constexpr int kMargin = 20;
constexpr int kGap = 14;
constexpr int kHomeHeight = kCardsTop + 2 * kCardHeight + kGap + 84;

struct Product {
  const char* name;
  const char* note;
  const char* price;
  QColor ground;
  void (*paint)(QPainter&);
};

const std::array<Product, 4> kProducts = {{
    {"Hill Bergamot", "The first pears", "3.20 / kg", {0xf3, 0xf0, 0xd9}, paintPear},
    {"Rye and walnut", "Fresh until noon", "4.10", {0xfb, 0xec, 0xd8}, paintLoaf},
    {"Orchard cider", "Pressed in the yard", "5.40", {0xe6, 0xee, 0xe1}, paintCider},
    {"Yellow Fell", "From the dairy", "2.80", {0xfd, 0xf1, 0xd2}, paintCheese},
}};

QString greeting() {
  const int hour = QTime::currentTime().hour();
  return hour < 12 ? "Good morning" : hour < 18 ? "Good afternoon" : "Good evening";
}

class Home final : public QWidget {
 public:
  explicit Home(QWidget* parent) : QWidget(parent) { setMinimumHeight(kHomeHeight); }

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.fillRect(rect(), kCream);
    paintHeader(painter);
    const int cardWidth = (width() - 2 * kMargin - kGap) / 2;
    for (int i = 0; i < 4; ++i) {
      const QRect card(kMargin + (i % 2) * (cardWidth + kGap),
                       kCardsTop + (i / 2) * (kCardHeight + kGap), cardWidth, kCardHeight);
      paintProduct(painter, card, kProducts[static_cast<std::size_t>(i)]);
    }
    painter.setFont(type(13));
    painter.setPen(kQuiet);
    painter.drawText(QRect(0, kHomeHeight - 62, width(), 40), Qt::AlignCenter,
                     "Orchard Lane 4 · every day 7:30 to 19:00");
  }

 private:
  void paintHeader(QPainter& painter) const {
    painter.fillRect(0, 0, width(), kHeaderHeight, kInk);
    painter.save();
    painter.setClipRect(0, 0, width(), kHeaderHeight);
    paintFernAt(painter, {width() - 70.0, 190}, 2.1, 14, {0x33, 0x50, 0x3e});
    paintFernAt(painter, {width() - 8.0, 232}, 2.2, -16, {0x3d, 0x5e, 0x48});
    painter.restore();

    painter.setPen(kSun);
    painter.setFont(type(12, QFont::Normal, 2.6));
    painter.drawText(28, 60, "FERNHILL MARKET");
    painter.setPen(kCream);
    painter.setFont(type(33, QFont::Light));
    painter.drawText(27, 112, greeting());
    painter.setFont(type(15));
    painter.setPen(QColor(kCream.red(), kCream.green(), kCream.blue(), 190));
    painter.drawText(28, 146, "What is good today");
  }

  /// A frond that stands on this point.
  static void paintFernAt(QPainter& painter, const QPointF& foot, double scale, double degrees,
                          const QColor& color) {
    painter.save();
    painter.translate(foot);
    painter.rotate(degrees);
    painter.scale(scale, scale);
    painter.translate(-50, -100);
    paintFern(painter, color);
    painter.restore();
  }

  static void paintProduct(QPainter& painter, const QRect& card, const Product& product) {
    paintCard(painter, card, 18);
    const QRect ground = card.adjusted(8, 8, -8, -92);
    painter.setBrush(product.ground);
    painter.drawRoundedRect(ground, 12, 12);
    painter.save();
    painter.translate(ground.center().x() - 48, ground.center().y() - 48);
    painter.scale(0.96, 0.96);
    product.paint(painter);
    painter.restore();

    const int x = card.left() + 16;
    const int bottom = card.bottom();
    painter.setPen(kInk);
    painter.setFont(type(15, QFont::DemiBold));
    painter.drawText(x, bottom - 62, product.name);
    painter.setPen(kQuiet);
    painter.setFont(type(13));
    painter.drawText(x, bottom - 42, product.note);
    painter.setPen(kLeaf);
    painter.setFont(type(14, QFont::DemiBold));
    painter.drawText(x, bottom - 16, product.price);
  }
};

/// An on-off switch with its label.
class Switch final : public QAbstractButton {
 public:
  explicit Switch(const QString& text, QWidget* parent) : QAbstractButton(parent) {
    setText(text);
    setAccessibleName(text);
    setCheckable(true);
    setCursor(Qt::PointingHandCursor);
    slide_.setDuration(160);
    connect(&slide_, &QVariantAnimation::valueChanged, this, qOverload<>(&QWidget::update));
    connect(this, &QAbstractButton::toggled, this, [this](bool on) {
      slide_.stop();
      slide_.setStartValue(on ? 0.0 : 1.0);
      slide_.setEndValue(on ? 1.0 : 0.0);
      slide_.start();
    });
  }

 protected:
  void paintEvent(QPaintEvent*) override {
    const double on = slide_.currentValue().toDouble();
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const QRectF track(2, height() / 2.0 - 14, 48, 28);
    painter.setPen(hasFocus() ? QPen(kInk, 1.5) : QPen(Qt::NoPen));
    painter.setBrush(isChecked() ? kLeaf : QColor(0xd8, 0xd6, 0xcb));
    painter.drawRoundedRect(track, 14, 14);
    painter.setPen(Qt::NoPen);
    painter.setBrush(Qt::white);
    painter.drawEllipse(QPointF(track.left() + 14 + on * 20, track.center().y()), 11, 11);
    painter.setPen(kInk);
    painter.setFont(type(15));
    painter.drawText(rect().adjusted(62, 0, 0, 0), Qt::AlignLeft | Qt::AlignVCenter, text());
  }

 private:
  QVariantAnimation slide_;
};

/// A dark pill.
class Pill final : public QAbstractButton {
 public:
  explicit Pill(const QString& text, QWidget* parent) : QAbstractButton(parent) {
    setText(text);
    setAccessibleName(text);
    setCursor(Qt::PointingHandCursor);
  }

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setPen(hasFocus() ? QPen(kSun, 2) : QPen(Qt::NoPen));
    painter.setBrush(isDown() ? kLeaf : kInk);
    painter.drawRoundedRect(QRectF(rect()).adjusted(1, 1, -1, -1), height() / 2.0, height() / 2.0);
    painter.setPen(kCream);
    painter.setFont(type(14, QFont::DemiBold));
    painter.drawText(rect(), Qt::AlignCenter, text());
  }
};

class Bar final : public QWidget {
 public:
  using QWidget::QWidget;

 protected:
  void paintEvent(QPaintEvent*) override {
    QPainter painter(this);
    painter.fillRect(rect(), Qt::white);
    painter.fillRect(0, 0, width(), 1, kLine);
  }
};

QScrollArea* newHome(QWidget* parent) {
  auto* scroll = new QScrollArea(parent);
  scroll->setFrameShape(QFrame::NoFrame);
  scroll->setWidgetResizable(true);
  scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  scroll->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
  scroll->setWidget(new Home(scroll));
  return scroll;
}

}  // namespace

ShopWindow::ShopWindow(std::function<void(bool)> debugSwitched)
    : content_(new QWidget(this)),
      home_(newHome(content_)),
      bar_(new Bar(content_)),
      drawer_(new LogDrawer(content_)),
      logButton_(new Pill("Kit log", bar_)) {
  setWindowIcon(shopIcon());
  setMinimumSize(340, 480);
  resize(390, 844);
  auto* debug = new Switch("Debug lines", bar_);
  debug->setGeometry(kMargin, 12, 180, 52);
  connect(debug, &QAbstractButton::toggled, this, std::move(debugSwitched));
  connect(logButton_, &QAbstractButton::clicked, drawer_, &LogDrawer::open);
}

void ShopWindow::addLogLines(const QStringList& lines) { drawer_->add(lines); }

void ShopWindow::resizeEvent(QResizeEvent*) {
  content_->setGeometry(rect());
  home_->setGeometry(0, 0, width(), height() - kBarHeight);
  bar_->setGeometry(0, height() - kBarHeight, width(), kBarHeight);
  logButton_->setGeometry(width() - kMargin - 104, 18, 104, 40);
  drawer_->setGeometry(rect());
}

void ShopWindow::closeEvent(QCloseEvent* event) {
  event->accept();
  QCoreApplication::quit();
}

}  // namespace demo
