// Plays the transitions of the host's window: screens slide in and out, one after another.
#pragma once

#include <korvani/platform/screens/view_controller.h>

#include <QObject>
#include <QPointer>
#include <deque>
#include <memory>
#include <optional>

class QAbstractAnimation;
class QWidget;

namespace korvani::qt {

class Canvas;
class Motion;
class StageCover;

/// The same three operations as platform::Stage, all on the main thread. Each transition begins
/// when the one before has ended; its completion runs once at its end, though the window is gone.
class WindowStage {
 public:
  WindowStage(Canvas& canvas, const Motion& motion) : canvas_(canvas), motion_(motion) {}
  ~WindowStage();

  void present(std::shared_ptr<platform::ViewController> presented, bool animated,
               platform::Completion completion);
  void dismiss(std::shared_ptr<platform::ViewController> presented, bool animated,
               platform::Completion completion);
  void push(std::shared_ptr<platform::NavigationController> navigation,
            std::shared_ptr<platform::ViewController> pushed, bool animated);

 private:
  enum class Kind { kPresent, kDismiss, kPush };
  struct Transition {
    Kind kind;
    std::shared_ptr<platform::ViewController> controller;
    bool animated;
    platform::Completion completion;
    std::shared_ptr<platform::NavigationController> navigation = {};
  };

  /// Null when the window has gone.
  StageCover* cover();
  void enqueue(Transition transition);
  void play();
  QAbstractAnimation* begin(const Transition& transition);
  QAbstractAnimation* slide(QWidget* widget, const QPoint& from, const QPoint& to);
  void end();

  Canvas& canvas_;
  const Motion& motion_;
  QPointer<StageCover> cover_;
  std::deque<Transition> waiting_;
  std::optional<Transition> playing_;
  /// Ends the connections to this stage with it.
  QObject context_;
};

}  // namespace korvani::qt
