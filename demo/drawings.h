// The shop's look: its colours, its type, and the pictures that it draws itself.
#pragma once

#include <QColor>
#include <QFont>
#include <QPainter>
#include <QPixmap>
#include <QRectF>

namespace demo {

inline const QColor kInk{0x26, 0x3e, 0x30};
inline const QColor kLeaf{0x54, 0x7e, 0x56};
inline const QColor kCream{0xfd, 0xf7, 0xea};
inline const QColor kSun{0xf7, 0xbe, 0x70};
inline const QColor kLine{0xe9, 0xdc, 0xc3};
inline const QColor kQuiet{0x5c, 0x6b, 0x60};

/// The application's font in pixels.
QFont type(int pixels, QFont::Weight weight = QFont::Normal, double letterSpacing = 0);

/// A white card, or one of another colour, with a soft shadow.
void paintCard(QPainter& painter, const QRectF& card, double radius,
               const QColor& color = Qt::white);

// Each fills a square of 100 × 100; the painter's transformation says where and how large.
void paintPear(QPainter& painter);
void paintLoaf(QPainter& painter);
void paintCider(QPainter& painter);
void paintCheese(QPainter& painter);
/// A frond that grows upwards.
void paintFern(QPainter& painter, const QColor& color);

/// The application's icon: a frond on a tile.
QPixmap shopIcon();

}  // namespace demo
