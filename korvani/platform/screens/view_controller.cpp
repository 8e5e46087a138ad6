// The rules of presentation. Who presents what is decided at once, on the thread that asks; the
// stage shows it later.
#include <korvani/platform/platform.h>
#include <korvani/platform/screens/view_controller.h>

namespace korvani::platform {

ViewController::~ViewController() = default;

const std::shared_ptr<View>& ViewController::view() {
  if (!view_) {
    Platform* phone = Platform::installed();
    view_ = std::make_shared<View>(phone ? phone->device().mainScreenBounds() : Rect{});
    viewDidLoad();
  }
  return view_;
}

void ViewController::presentViewController(std::shared_ptr<ViewController> controller,
                                           bool animated, Completion completion) {
  Stage* const shownOn = stage();
  if (!controller || !shownOn) return;
  const std::lock_guard lock(shownOn->order_);
  if (!presented_.compareExchange(nullptr, controller)) return;
  controller->presenting_.store(weak_from_this());
  shownOn->present(std::move(controller), animated, std::move(completion));
}

void ViewController::dismissViewControllerAnimated(bool animated, Completion completion) {
  const std::shared_ptr<ViewController> presenting = presentingViewController();
  if (!presented_.load() && presenting) {
    presenting->dismissViewControllerAnimated(animated, std::move(completion));
    return;
  }
  Stage* const shownOn = stage();
  if (!shownOn) return;
  const std::lock_guard lock(shownOn->order_);
  std::shared_ptr<ViewController> presented = presented_.exchange(nullptr);
  if (presented) presented->presenting_.store({});
  shownOn->dismiss(std::move(presented), animated, std::move(completion));
}

Stage* ViewController::stage() const {
  if (stage_) return stage_;
  const std::shared_ptr<ViewController> presenting = presentingViewController();
  return presenting ? presenting->stage() : nullptr;
}

std::shared_ptr<NavigationController> NavigationController::initWithRootViewController(
    std::shared_ptr<ViewController> root) {
  const std::shared_ptr<NavigationController> navigation(new NavigationController);
  navigation->hold(std::move(root));
  return navigation;
}

int NavigationController::preferredStatusBarStyle() const {
  return topViewController()->preferredStatusBarStyle();
}

void NavigationController::pushViewController(std::shared_ptr<ViewController> controller,
                                              bool animated) {
  if (!controller) return;
  hold(controller);
  auto self = std::static_pointer_cast<NavigationController>(shared_from_this());
  if (Stage* shownOn = stage()) shownOn->push(std::move(self), std::move(controller), animated);
}

void NavigationController::hold(std::shared_ptr<ViewController> controller) {
  controller->presenting_.store(weak_from_this());
  controller->navigation_ = std::static_pointer_cast<NavigationController>(shared_from_this());
  controllers_.push_back(std::move(controller));
}

}  // namespace korvani::platform
