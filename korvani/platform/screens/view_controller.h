// Plain models of screens: a controller loads its view when that is first touched, presents another
// over itself, and dismisses it; a navigation controller holds a stack of them. The rules of
// presentation live here; a phone's stage shows what they decide.
#pragma once

#include <korvani/platform/atomic.h>
#include <korvani/platform/export.h>
#include <korvani/platform/screens/view.h>

#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <string_view>
#include <vector>

namespace korvani::platform {

class ViewController;
class NavigationController;

using Completion = std::function<void()>;

/// Shows what the controllers decide. Called on the thread that asked for the change, main or
/// background; the adapter takes it to the main thread, shows the changes in the order in which
/// they were asked for, and runs each completion once, on the main thread, later.
class Stage {
 public:
  virtual ~Stage() = default;
  virtual void present(std::shared_ptr<ViewController> presented, bool animated,
                       Completion completion) = 0;
  /// `presented` is null when nothing was there to dismiss.
  virtual void dismiss(std::shared_ptr<ViewController> presented, bool animated,
                       Completion completion) = 0;
  /// Main thread.
  virtual void push(std::shared_ptr<NavigationController> navigation,
                    std::shared_ptr<ViewController> pushed, bool animated) = 0;

 private:
  friend class ViewController;
  /// Held while a controller decides and tells this stage, so that the stage hears of changes in
  /// the order in which they were decided. An adapter only enqueues meanwhile.
  std::mutex order_;
};

/// One screen. Main thread, but for presenting, dismissing and asking what is presented, which any
/// thread may do. What it presents, it owns.
class KORVANI_EXPORT ViewController : public std::enable_shared_from_this<ViewController> {
 public:
  ViewController() = default;
  /// A root controller, shown in a window by this stage, which outlives it.
  explicit ViewController(Stage& stage) : stage_(&stage) {}
  ViewController(const ViewController&) = delete;
  ViewController& operator=(const ViewController&) = delete;
  virtual ~ViewController();

  /// The class's name, for logs and records.
  virtual std::string_view className() const { return "ViewController"; }
  /// Loads the view if need be: makes it, as large as the main screen, then `viewDidLoad`.
  const std::shared_ptr<View>& view();
  bool isViewLoaded() const { return view_ != nullptr; }
  virtual int preferredStatusBarStyle() const { return 0; }
  virtual void didReceiveMemoryWarning() {}

  std::shared_ptr<ViewController> presentedViewController() const { return presented_.load(); }
  /// The controller that presents this one, or the one that holds it; null for a root.
  std::shared_ptr<ViewController> presentingViewController() const {
    return presenting_.load().lock();
  }
  /// Shows the controller over this one. Where another is presented already, it waits until that
  /// one has been dismissed. Nothing happens, and the completion is dropped, where the controller
  /// waits already or stands on a stage, and where this one stands on none.
  void presentViewController(std::shared_ptr<ViewController> controller, bool animated,
                             Completion completion = {});
  /// Dismisses what this controller presents, with all that stands on it, and presents what waits
  /// next; where it presents nothing, this controller itself (or the navigation that holds it) is
  /// dismissed by the one that presents it. The completion runs though nothing was there to
  /// dismiss; a controller that stands on no stage any more does nothing.
  void dismissViewControllerAnimated(bool animated, Completion completion = {});
  /// The navigation that holds this controller, null when there is none.
  std::shared_ptr<NavigationController> navigationController() const { return navigation_.lock(); }

 protected:
  virtual void viewDidLoad() {}

 private:
  friend class NavigationController;
  struct Waiting {
    std::shared_ptr<ViewController> controller;
    bool animated;
    Completion completion;
  };
  Stage* stage() const;
  void showNext(Stage& shownOn);

  Stage* const stage_ = nullptr;
  std::shared_ptr<View> view_;
  Atomic<std::shared_ptr<ViewController>> presented_;
  Atomic<std::weak_ptr<ViewController>> presenting_;
  std::weak_ptr<NavigationController> navigation_;
  /// Under the lock of the stage.
  std::deque<Waiting> waiting_;
};

class KORVANI_EXPORT NavigationController : public ViewController {
 public:
  /// A navigation with this controller, which is there, at its bottom.
  static std::shared_ptr<NavigationController> initWithRootViewController(
      std::shared_ptr<ViewController> root);

  std::string_view className() const override { return "NavigationController"; }
  int preferredStatusBarStyle() const override;
  /// Bottom to top; never empty.
  const std::vector<std::shared_ptr<ViewController>>& viewControllers() const {
    return controllers_;
  }
  const std::shared_ptr<ViewController>& topViewController() const { return controllers_.back(); }
  bool isNavigationBarHidden() const { return navigationBarHidden_; }
  void setNavigationBarHidden(bool hidden) { navigationBarHidden_ = hidden; }
  void pushViewController(std::shared_ptr<ViewController> controller, bool animated);

 private:
  NavigationController() = default;
  void hold(std::shared_ptr<ViewController> controller);

  std::vector<std::shared_ptr<ViewController>> controllers_;
  bool navigationBarHidden_ = false;
};

}  // namespace korvani::platform
