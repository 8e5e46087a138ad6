// Takes each call to the main thread and to the part that shows it.
#include <korvani/qt/after_start.h>
#include <korvani/qt/alert.h>
#include <korvani/qt/canvas.h>
#include <korvani/qt/held_widget.h>
#include <korvani/qt/log.h>
#include <korvani/qt/motion.h>
#include <korvani/qt/screens.h>
#include <korvani/qt/stage.h>
#include <korvani/qt/web/web_view.h>

#include <QTimer>
#include <utility>

namespace korvani::qt {
namespace {

class HostController final : public platform::ViewController {
 public:
  using ViewController::ViewController;
  std::string_view className() const override { return "host"; }
};

/// A screen that is the host's own widget.
class WidgetController final : public platform::ViewController {
 public:
  WidgetController(std::unique_ptr<QWidget> widget, const platform::Rect& screen)
      : widget_(std::move(widget)), screen_(screen) {}
  std::string_view className() const override { return "host's screen"; }

 protected:
  void viewDidLoad() override {
    view()->setFrame(screen_);
    view()->addSubview(std::make_shared<WidgetView>(screen_, std::move(widget_)));
  }

 private:
  std::unique_ptr<QWidget> widget_;
  const platform::Rect screen_;
};

}  // namespace

/// Touched on the main thread only.
struct Screens::Parts {
  explicit Parts(const HostWindow& hostWindow) : canvas(Canvas::over(hostWindow)) {
    QTimer::singleShot(kAfterStart, &motion, &Motion::follow);
  }

  const std::unique_ptr<Canvas> canvas;
  Motion motion;
  WindowStage stage{*canvas, motion};
  Alerts alerts{*canvas};
  Banners banners{*canvas, motion};
};

Screens::Screens(const HostWindow& hostWindow, platform::Queue& mainQueue)
    : mainQueue_(mainQueue),
      parts_(std::make_shared<Parts>(hostWindow)),
      root_(std::make_shared<HostController>(*this)) {}

Screens::~Screens() = default;

platform::Rect Screens::mainScreenBounds() const {
  const QSize size = parts_->canvas->size();
  return {0, 0, static_cast<double>(size.width()), static_cast<double>(size.height())};
}

void Screens::raiseWindow() { parts_->canvas->raise(); }

void Screens::present(std::shared_ptr<platform::ViewController> presented, bool animated,
                      platform::Completion completion) {
  onMain([=](Parts& parts) {
    if (!isInBrowser(*presented)) return parts.stage.present(presented, animated, completion);
    // It has come and gone, in its turn.
    parts.stage.dismiss(presented, false, completion);
    presented->dismissViewControllerAnimated(false);
  });
}

void Screens::dismiss(std::shared_ptr<platform::ViewController> presented, bool animated,
                      platform::Completion completion) {
  onMain([=](Parts& parts) { parts.stage.dismiss(presented, animated, completion); });
}

void Screens::push(std::shared_ptr<platform::NavigationController> navigation,
                   std::shared_ptr<platform::ViewController> pushed, bool animated) {
  onMain([=](Parts& parts) {
    if (!isInBrowser(*pushed)) parts.stage.push(navigation, pushed, animated);
  });
}

std::shared_ptr<platform::WebView> Screens::newWebView(platform::Rect frame) {
  return std::make_shared<WebView>(frame, parts_->canvas.get(), mainQueue_);
}

std::shared_ptr<platform::ViewController> Screens::presentWidget(std::unique_ptr<QWidget> widget) {
  if (!widget) {
    qCWarning(phoneLog, "no widget to present");
    return nullptr;
  }
  const auto controller = std::make_shared<WidgetController>(std::move(widget), mainScreenBounds());
  root_->presentViewController(controller, true);
  return controller;
}

void Screens::showAlert(const platform::Alert& alert) {
  onMain([shown = shortened(alert)](Parts& parts) { parts.alerts.show(shown); });
}

void Screens::showBanners(NextBanner next) {
  onMain([next = std::move(next)](Parts& parts) { parts.banners.show(next); });
}

void Screens::onMain(std::function<void(Parts&)> work) {
  mainQueue_.async([work = std::move(work), parts = std::weak_ptr(parts_)] {
    if (const auto alive = parts.lock()) work(*alive);
  });
}

}  // namespace korvani::qt
