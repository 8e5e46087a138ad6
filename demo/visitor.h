// The visitor who needs nobody: opens each notification, taps the image, closes the pop-ups, reads
// the log, takes a picture of each screen, and goes.
#pragma once

#include <korvani/platform/screens/view_controller.h>

#include <QImage>
#include <QSet>
#include <QString>
#include <QTimer>
#include <QWidget>
#include <functional>
#include <memory>

#include "dunst.h"

class QAbstractButton;

namespace demo {

/// Looks at the window a few times a second and does the next thing that can be done. Nothing is
/// done while anything on the screen still moves.
class Visitor {
 public:
  struct Surroundings {
    QWidget* window;
    /// The host's own controller, on which the kit presents.
    std::function<std::shared_ptr<korvani::platform::ViewController>()> root;
    /// Has all happened that the walk brings?
    std::function<bool()> roadIsComplete;
    /// Where notifications are opened that do not come as banners; null for none.
    Dunst* dunst;
    /// How many notifications have been posted and opened so far.
    std::function<int()> posted;
    std::function<int()> opened;
    /// Where pictures go; empty for none.
    QString pictures;
    /// The visitor has seen all.
    std::function<void()> leave;
  };

  explicit Visitor(Surroundings surroundings);

  /// What the visitor waits for, for people.
  const QString& waitingFor() const { return waitingFor_; }

 private:
  void look();
  bool nothingMoves();
  void answerAlert(QWidget* alert);
  void look(const std::shared_ptr<korvani::platform::ViewController>& screen);
  bool isOnTop(const QRect& area, const char* button) const;
  void openNotification(QWidget* banner);
  bool isNotified() const;
  void openOnDesktop();
  void lookAround();
  void takePicture(const QString& name);
  QAbstractButton* named(const QString& accessibleName) const;
  void press(const korvani::platform::View& view);
  void press(const QAbstractButton* button);
  void pressAt(const QPoint& point);

  const Surroundings here_;
  QTimer timer_;
  QImage seen_;
  /// The whole screen is looked at, and dunst has been seen to show something there.
  bool looksAtScreen_ = false;
  bool isShown_ = false;
  /// How many notifications this visitor has opened on the desktop.
  int openedOnDesktop_ = 0;
  QSet<QString> pictures_;
  std::weak_ptr<korvani::platform::ViewController> tapped_;
  QString waitingFor_;
};

}  // namespace demo
