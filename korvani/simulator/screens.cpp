// The simulated phone's screens: nothing is drawn, everything is recorded.
#include <korvani/simulator/screens.h>

#include <cmath>
#include <initializer_list>
#include <utility>

namespace korvani::simulator {

using platform::NavigationController;
using platform::Value;
using platform::View;
using platform::ViewController;

namespace {

class HostController : public ViewController {
 public:
  using ViewController::ViewController;
  std::string_view className() const override { return "host"; }
};

class SimulatedWebView : public platform::WebView {
 public:
  SimulatedWebView(platform::Rect frame, Recorder& recorder, const Settings& settings,
                   platform::Queue& mainQueue)
      : WebView(frame), recorder_(recorder), settings_(settings), mainQueue_(mainQueue) {}

 protected:
  void load(const std::optional<platform::URL>& url) override {
    recorder_.record("page",
                     Value::Dictionary{{"load", url ? Value(url->absoluteString()) : Value()}});
    if (!url) return;
    const auto failure = settings_.failingPages.find(url->absoluteString());
    if (failure == settings_.failingPages.end()) return;
    mainQueue_.async([view = weak_from_this(), description = failure->second] {
      if (const auto loading = view.lock()) loading->loadFailed(description);
    });
  }

 private:
  Recorder& recorder_;
  const Settings& settings_;
  platform::Queue& mainQueue_;
};

/// Whole numbers of points are printed as integers.
Value number(double value) {
  constexpr double kExactIntegers = 9007199254740992.0;  // 2^53
  if (std::abs(value) < kExactIntegers && value == std::trunc(value)) {
    return static_cast<std::int64_t>(value);
  }
  return value;
}

Value numbers(std::initializer_list<double> values) {
  Value::Array list;
  for (const double value : values) list.push_back(number(value));
  return list;
}

Value sizeOf(const std::shared_ptr<const platform::Image>& image) {
  if (!image) return {};
  return numbers({image->size().width, image->size().height});
}

Value textOf(const std::optional<platform::Color>& color) {
  return color ? Value(color->hexText()) : Value();
}

/// Null for a view that is neither button, image nor page.
Value describe(const View& view) {
  const platform::Rect& frame = view.frame();
  Value::Dictionary content{{"frame", numbers({frame.x, frame.y, frame.width, frame.height})},
                            {"image", nullptr}};
  if (const auto* button = dynamic_cast<const platform::Button*>(&view)) {
    content["kind"] = "button";
    content["image"] = sizeOf(button->image(platform::ControlState::kNormal));
  } else if (const auto* imageView = dynamic_cast<const platform::ImageView*>(&view)) {
    content["kind"] = "image";
    content["image"] = sizeOf(imageView->image());
    content["contentMode"] = static_cast<int>(imageView->contentMode());
  } else if (const auto* webView = dynamic_cast<const platform::WebView*>(&view)) {
    content["kind"] = "web";
    content["url"] = webView->url() ? Value(webView->url()->absoluteString()) : Value();
  } else {
    return {};
  }
  return content;
}

void describeSubviews(const View& view, Value::Array& out) {
  for (const auto& subview : view.subviews()) {
    if (Value content = describe(*subview); !content.isNull()) out.push_back(std::move(content));
    describeSubviews(*subview, out);
  }
}

/// Of a navigation its root.
Value nameOf(const std::shared_ptr<ViewController>& controller) {
  if (!controller) return {};
  const auto* navigation = dynamic_cast<const NavigationController*>(controller.get());
  return navigation ? navigation->viewControllers().front()->className() : controller->className();
}

}  // namespace

SimulatedStage::SimulatedStage(Recorder& recorder, platform::Queue& mainQueue)
    : recorder_(recorder), mainQueue_(mainQueue), root_(std::make_shared<HostController>(*this)) {}

std::shared_ptr<ViewController> SimulatedStage::front() const {
  std::shared_ptr<ViewController> front = root_->presentedViewController();
  if (!front) return nullptr;
  while (auto next = front->presentedViewController()) front = std::move(next);
  if (const auto* navigation = dynamic_cast<const NavigationController*>(front.get())) {
    return navigation->topViewController();
  }
  return front;
}

void SimulatedStage::tap(platform::Point point) {
  const auto screen = front();
  if (!screen) return;
  View* const hit = screen->view()->hitTest(point);
  if (auto* button = dynamic_cast<platform::Button*>(hit)) {
    button->sendActionsForControlEvent(platform::ControlEvent::kTouchUpInside);
  }
}

void SimulatedStage::presentHostScreen() {
  if (root_->presentedViewController()) return;
  root_->presentViewController(std::make_shared<HostController>(), true);
}

Value SimulatedStage::describeFront() const {
  const auto screen = front();
  if (!screen) return {};
  if (dynamic_cast<const HostController*>(screen.get())) {
    return Value::Dictionary{{"controller", screen->className()}};
  }
  Value::Array views;
  describeSubviews(*screen->view(), views);
  const auto navigation = screen->navigationController();
  return Value::Dictionary{
      {"controller", screen->className()},
      {"statusBarStyle", screen->preferredStatusBarStyle()},
      {"backgroundColor", textOf(screen->view()->backgroundColor())},
      {"navigation", navigation != nullptr},
      {"navigationBarHidden", navigation && navigation->isNavigationBarHidden()},
      {"views", std::move(views)}};
}

void SimulatedStage::present(std::shared_ptr<ViewController> presented, bool animated,
                             platform::Completion completion) {
  const bool navigation = dynamic_cast<const NavigationController*>(presented.get()) != nullptr;
  recorder_.record("screen", Value::Dictionary{{"present", nameOf(presented)},
                                               {"navigation", navigation},
                                               {"animated", animated}});
  complete(std::move(completion));
}

void SimulatedStage::dismiss(std::shared_ptr<ViewController> presented, bool animated,
                             platform::Completion completion) {
  recorder_.record("screen",
                   Value::Dictionary{{"dismiss", nameOf(presented)}, {"animated", animated}});
  complete(std::move(completion));
}

void SimulatedStage::push(std::shared_ptr<NavigationController>,
                          std::shared_ptr<ViewController> pushed, bool animated) {
  recorder_.record("screen", Value::Dictionary{{"push", nameOf(pushed)}, {"animated", animated}});
}

void SimulatedStage::complete(platform::Completion completion) {
  if (completion) mainQueue_.async(std::move(completion));
}

std::shared_ptr<platform::WebView> SimulatedWebViews::newWebView(platform::Rect frame) {
  return std::make_shared<SimulatedWebView>(frame, recorder_, settings_, mainQueue_);
}

}  // namespace korvani::simulator
