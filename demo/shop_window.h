// The window of Fernhill Market: the home screen, the switch for the kit's debug lines, and the
// drawer that shows its log.
#pragma once

#include <QStringList>
#include <QWidget>
#include <functional>

class QAbstractButton;

namespace demo {

class LogDrawer;

class ShopWindow : public QWidget {
 public:
  /// `debugSwitched` is told whether the kit is to write its debug lines.
  explicit ShopWindow(std::function<void(bool)> debugSwitched);

  void addLogLines(const QStringList& lines);

 protected:
  void resizeEvent(QResizeEvent* event) override;
  void closeEvent(QCloseEvent* event) override;

 private:
  /// Holds all that follows, so that what the phone shows over the window stays over it.
  QWidget* content_;
  QWidget* home_;
  QWidget* bar_;
  LogDrawer* drawer_;
  QAbstractButton* logButton_;
};

}  // namespace demo
