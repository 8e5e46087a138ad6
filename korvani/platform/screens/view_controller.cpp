// The rules of presentation. Who presents what is decided at once, on the thread that asks; the
// stage shows it later.
#include <korvani/platform/platform.h>
#include <korvani/platform/screens/view_controller.h>

#include <algorithm>

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
  const bool waits = std::any_of(waiting_.begin(), waiting_.end(), [&](const Waiting& waiting) {
    return waiting.controller == controller;
  });
  if (waits || controller->stage()) return;
  waiting_.push_back({std::move(controller), animated, std::move(completion)});
  if (!presented_.load()) showNext(*shownOn);
}

void ViewController::showNext(Stage& shownOn) {
  while (!waiting_.empty() && waiting_.front().controller->stage()) waiting_.pop_front();
  if (waiting_.empty()) return;
  Waiting next = std::move(waiting_.front());
  waiting_.pop_front();
  presented_.store(next.controller);
  next.controller->presenting_.store(weak_from_this());
  shownOn.present(std::move(next.controller), next.animated, std::move(next.completion));
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
  showNext(*shownOn);
}

Stage* ViewController::stage() const {
  if (stage_) return stage_;
  const std::shared_ptr<ViewController> presenting = presentingViewController();
  return presenting ? presenting->stage() : nullptr;
}

std::shared_ptr<NavigationController> NavigationController::initWithRootViewController(
    std::shared_ptr<ViewController> root) {
  std::shared_ptr<NavigationController> navigation(new NavigationController);
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
