// Takes each call to the main thread and to the part that shows it.
#include <korvani/qt/alert.h>
#include <korvani/qt/banner.h>
#include <korvani/qt/screens.h>
#include <korvani/qt/stage.h>
#include <korvani/qt/web/web_view.h>

#include <QPointer>
#include <QWidget>
#include <utility>

namespace korvani::qt {
namespace {

class HostController final : public platform::ViewController {
 public:
  using ViewController::ViewController;
  std::string_view className() const override { return "host"; }
};

}  // namespace

/// Touched on the main thread only.
struct Screens::Parts {
  explicit Parts(QWidget* hostWindow)
      : window(hostWindow), stage(hostWindow), alerts(hostWindow), banners(hostWindow) {}

  QPointer<QWidget> window;
  WindowStage stage;
  Alerts alerts;
  Banners banners;
};

Screens::Screens(QWidget* hostWindow, platform::Queue& mainQueue)
    : mainQueue_(mainQueue),
      parts_(std::make_shared<Parts>(hostWindow)),
      root_(std::make_shared<HostController>(*this)) {}

Screens::~Screens() = default;

platform::Rect Screens::mainScreenBounds() const {
  const QSize size = parts_->window ? parts_->window->size() : QSize(0, 0);
  return {0, 0, static_cast<double>(size.width()), static_cast<double>(size.height())};
}

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
  return std::make_shared<WebView>(frame, parts_->window, mainQueue_);
}

void Screens::showAlert(const platform::Alert& alert) {
  onMain([alert](Parts& parts) { parts.alerts.show(alert); });
}

void Screens::showBanner(const std::string& text, std::function<void()> opened) {
  onMain([text = QString::fromStdString(text), opened = std::move(opened)](Parts& parts) {
    parts.banners.show(text, opened);
  });
}

void Screens::onMain(std::function<void(Parts&)> work) {
  mainQueue_.async([work = std::move(work), parts = std::weak_ptr(parts_)] {
    if (const auto alive = parts.lock()) work(*alive);
  });
}

}  // namespace korvani::qt
