// Content over the host's screens: whatever is shown over the root is closed first.
#include <korvani/sdk/guard.h>
#include <korvani/sdk/korvani.h>
#include <korvani/ui/korvani_view.h>
#include <korvani/ui/korvani_web_view.h>
#include <korvani/ui/uri_pair.h>

namespace korvani {

using platform::NavigationController;
using platform::Value;
using platform::ViewController;

namespace {

std::shared_ptr<ViewController> rootController() {
  return phone().application().rootViewController();
}

/// Runs the work once nothing is presented over the root: at once, or when what is there has gone.
void afterDismissal(std::function<void()> work) {
  const auto root = rootController();
  if (root && root->presentedViewController()) {
    root->dismissViewControllerAnimated(true, [work = std::move(work)] { guarded(work); });
  } else {
    work();
  }
}

/// Any thread.
void replaceAndPresent(const std::shared_ptr<ViewController>& controller) {
  afterDismissal([controller] {
    if (const auto root = rootController()) root->presentViewController(controller, true);
  });
}

/// Blocks until the image is there, so it runs on a queue of its own. Nothing is shown without one.
void fetchAndPresent(const platform::URL& address, const std::shared_ptr<KorvaniView>& view,
                     const std::shared_ptr<NavigationController>& navigation) {
  const auto data = phone().urlConnection().dataWithContentsOfURL(address);
  const auto image = data ? phone().images().imageWithData(*data, 1) : nullptr;
  if (!image) return;
  phone().queues().mainQueue().async(
      [view, image] { guarded([&] { view->imageView()->setImage(image); }); });
  // Presented from this thread, without waiting for the image to be set: the slide takes longer.
  replaceAndPresent(navigation);
}

}  // namespace

void Korvani::dress(ui::PopUp& popUp) const {
  if (buttonCloseImage_) popUp.setImageButton(buttonCloseImage_);
  popUp.setStatusBarStyle(statusBarStyle_);
  popUp.view()->setBackgroundColor(colorBackground_.value_or(platform::Color::blackColor()));
  popUp.setDebug(debug());
}

void Korvani::launchViewWithInfos(const Value& scenario) {
  const auto view = std::make_shared<KorvaniView>();
  dress(*view);
  const auto navigation = NavigationController::initWithRootViewController(view);
  navigation->setNavigationBarHidden(true);
  if (debug()) logLine("OPEN IMAGE -- ", scenario);
  view->setDictionaryInfos(scenario);
  const auto address = ui::urlAt(scenario.at("image"), "url");
  if (!address) return;
  phone()
      .queues()
      .globalQueue(platform::QueuePriority::kHigh)
      .async([address = *address, view, navigation] {
        guarded([&] { fetchAndPresent(address, view, navigation); });
      });
}

void Korvani::launchWebViewWithInfos(const Value& scenario) {
  const auto view = std::make_shared<KorvaniWebView>();
  dress(*view);
  const std::string* address = scenario.at("url").text();
  if (debug()) logLine("OPEN WEBVIEW -- ", address ? Value(*address) : Value());
  if (!address) return;
  view->setWebviewURL(*address);
  replaceAndPresent(view);
}

void Korvani::openURI(const Value& uri) {
  if (debug()) logLine("OPEN URI -- ", uri.isDictionary() ? uri : Value());
  afterDismissal([pair = ui::UriPair(uri)] {
    platform::Application& application = phone().application();
    if (!application.openURL(pair.preferred)) application.openURL(pair.fallback);
  });
}

}  // namespace korvani
