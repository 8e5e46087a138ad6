// A drawer that comes up from the window's lower edge and shows what the kit logs.
#pragma once

#include <QPropertyAnimation>
#include <QStringList>
#include <QWidget>

class QTextEdit;

namespace demo {

/// Covers its parent while it is open; a press beside the drawer closes it.
class LogDrawer : public QWidget {
 public:
  explicit LogDrawer(QWidget* parent);

  void add(const QStringList& lines);
  void open();
  void close();

 protected:
  void paintEvent(QPaintEvent* event) override;
  void resizeEvent(QResizeEvent* event) override;
  void mousePressEvent(QMouseEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;

 private:
  void slideTo(double openness);
  void layOut();

  QWidget* sheet_;
  QTextEdit* text_;
  QVariantAnimation slide_;
  /// 0 closed to 1 open.
  double openness_ = 0;
};

}  // namespace demo
