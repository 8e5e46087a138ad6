// Flat pictures made of a few paths each, in the colours of the shop.
#include "drawings.h"

#include <QGuiApplication>
#include <QPainterPath>
#include <QPen>

namespace demo {
namespace {

const QColor kBark{0x68, 0x4a, 0x30};

void fill(QPainter& painter, const QPainterPath& path, const QColor& color) {
  painter.fillPath(path, color);
}

void line(QPainter& painter, const QPainterPath& path, const QColor& color, double width) {
  painter.setBrush(Qt::NoBrush);
  painter.setPen(QPen(color, width, Qt::SolidLine, Qt::RoundCap));
  painter.drawPath(path);
}

QPainterPath rounded(const QRectF& rect, double radius) {
  QPainterPath path;
  path.addRoundedRect(rect, radius, radius);
  return path;
}

/// A leaf from its stem to its tip, bent to both sides.
QPainterPath leaf(const QPointF& stem, const QPointF& tip, double width) {
  const QPointF along = tip - stem;
  const QPointF across(-along.y() * width, along.x() * width);
  const QPointF middle = stem + along * 0.45;
  QPainterPath path(stem);
  path.quadTo(middle + across, tip);
  path.quadTo(middle - across, stem);
  return path;
}

}  // namespace

QFont type(int pixels, QFont::Weight weight, double letterSpacing) {
  QFont font = QGuiApplication::font();
  font.setPixelSize(pixels);
  font.setWeight(weight);
  font.setLetterSpacing(QFont::AbsoluteSpacing, letterSpacing);
  font.setHintingPreference(QFont::PreferNoHinting);
  return font;
}

void paintCard(QPainter& painter, const QRectF& card, double radius, const QColor& color) {
  painter.setPen(Qt::NoPen);
  painter.setBrush(QColor(kInk.red(), kInk.green(), kInk.blue(), 2));
  for (int spread = 14; spread > 0; --spread) {
    painter.drawRoundedRect(card.adjusted(-spread, 5 - spread, spread, 5 + spread), radius + spread,
                            radius + spread);
  }
  painter.setBrush(color);
  painter.drawRoundedRect(card, radius, radius);
}

void paintPear(QPainter& painter) {
  QPainterPath stem(QPointF(51, 24));
  stem.cubicTo(51, 16, 53, 11, 58, 7);
  line(painter, stem, kBark, 4);
  fill(painter, leaf({55, 17}, {80, 9}, 0.42), kLeaf);

  QPainterPath body(QPointF(50, 21));
  body.cubicTo(62, 21, 63, 33, 66, 45);
  body.cubicTo(69, 57, 83, 62, 83, 78);
  body.cubicTo(83, 92, 68, 98, 50, 98);
  body.cubicTo(32, 98, 17, 92, 17, 78);
  body.cubicTo(17, 62, 31, 57, 34, 45);
  body.cubicTo(37, 33, 38, 21, 50, 21);
  fill(painter, body, {0xe2, 0xc6, 0x5c});

  QPainterPath shade(QPointF(56, 18));
  shade.cubicTo(56, 48, 76, 60, 68, 100);
  shade.lineTo(100, 100);
  shade.lineTo(80, 18);
  fill(painter, body & shade, {0xc9, 0xae, 0x4a});
  QPainterPath light(QPointF(28, 82));
  light.cubicTo(27, 73, 31, 67, 38, 63);
  light.cubicTo(34, 71, 35, 77, 34, 84);
  light.cubicTo(32, 89, 28, 87, 28, 82);
  fill(painter, light, {0xf6, 0xe6, 0x9e});
}

void paintLoaf(QPainter& painter) {
  QPainterPath crust(QPointF(6, 66));
  crust.cubicTo(6, 40, 26, 30, 50, 30);
  crust.cubicTo(74, 30, 94, 40, 94, 66);
  crust.cubicTo(94, 80, 88, 86, 78, 86);
  crust.lineTo(22, 86);
  crust.cubicTo(12, 86, 6, 80, 6, 66);
  fill(painter, crust, {0xc0, 0x7f, 0x44});

  QPainterPath below(QPointF(0, 70));
  below.cubicTo(30, 84, 70, 84, 100, 70);
  below.lineTo(100, 100);
  below.lineTo(0, 100);
  fill(painter, crust & below, {0xa5, 0x66, 0x34});
  for (const double x : {24.0, 44.0, 64.0}) {
    fill(painter, leaf({x - 3, 66}, {x + 13, 36}, 0.24), {0xf0, 0xcf, 0x96});
  }
}

void paintCider(QPainter& painter) {
  QPainterPath bottle(QPointF(42, 12));
  bottle.lineTo(58, 12);
  bottle.lineTo(58, 30);
  bottle.cubicTo(58, 42, 72, 44, 72, 58);
  bottle.lineTo(72, 90);
  bottle.cubicTo(72, 96, 69, 98, 64, 98);
  bottle.lineTo(36, 98);
  bottle.cubicTo(31, 98, 28, 96, 28, 90);
  bottle.lineTo(28, 58);
  bottle.cubicTo(28, 44, 42, 42, 42, 30);
  bottle.closeSubpath();
  fill(painter, bottle, {0x4c, 0x74, 0x50});
  QPainterPath shade;
  shade.addRect(60, 0, 40, 100);
  fill(painter, bottle & shade, {0x3d, 0x61, 0x43});

  fill(painter, rounded({40.5, 5, 19, 10}, 3), kSun);
  fill(painter, rounded({28, 60, 44, 26}, 0), kCream);
  QPainterPath apple;
  apple.addEllipse(QPointF(46.5, 74), 6.5, 7);
  apple.addEllipse(QPointF(53.5, 74), 6.5, 7);
  apple.setFillRule(Qt::WindingFill);
  fill(painter, apple, {0xc6, 0x5b, 0x44});
  fill(painter, leaf({50, 68}, {58, 63}, 0.4), kLeaf);
  fill(painter, rounded({34, 46, 4, 40}, 2), QColor(255, 255, 255, 50));
}

void paintCheese(QPainter& painter) {
  QPainterPath top(QPointF(6, 58));
  top.lineTo(64, 24);
  top.cubicTo(80, 26, 92, 38, 94, 58);
  top.closeSubpath();
  fill(painter, top, {0xf9, 0xd9, 0x8c});
  const QPainterPath side = rounded({6, 57, 88, 31}, 3);
  fill(painter, side, {0xf0, 0xb9, 0x55});
  QPainterPath holes;
  holes.addEllipse(QPointF(27, 74), 7, 7);
  holes.addEllipse(QPointF(52, 68), 4.5, 4.5);
  holes.addEllipse(QPointF(72, 80), 9, 9);
  holes.addEllipse(QPointF(88, 64), 4, 4);
  fill(painter, side & holes, {0xd9, 0x9c, 0x3c});
  QPainterPath dent;
  dent.addEllipse(QPointF(62, 44), 8, 4);
  fill(painter, dent, {0xea, 0xc0, 0x6c});
}

void paintFern(QPainter& painter, const QColor& color) {
  QPainterPath rib(QPointF(50, 100));
  rib.lineTo(50, 4);
  line(painter, rib, color, 1.6);
  for (int i = 0; i < 12; ++i) {
    const double y = 88 - i * 7;
    const double reach = 34 * (1 - i / 13.0) * (i < 2 ? 0.75 + 0.12 * i : 1);
    for (const int side : {-1, 1}) {
      fill(painter, leaf({50, y}, {50 + side * reach, y - reach * 0.55 - 3}, 0.16), color);
    }
  }
}

QPixmap shopIcon() {
  QPixmap icon(144, 144);
  icon.fill(Qt::transparent);
  QPainter painter(&icon);
  painter.setRenderHint(QPainter::Antialiasing);
  fill(painter, rounded({0, 0, 144, 144}, 34), kInk);
  painter.translate(20, 20);
  painter.scale(1.04, 1.04);
  paintFern(painter, kSun);
  return icon;
}

}  // namespace demo
