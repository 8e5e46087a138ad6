// Building and closing the web pop-up.
#include <korvani/sdk/guard.h>
#include <korvani/ui/korvani_web_view.h>
#include <korvani/ui/pop_up.h>

namespace korvani {

using platform::Button;
using platform::ControlEvent;
using platform::ControlState;

void KorvaniWebView::viewDidLoad() {
  ViewController::viewDidLoad();
  const auto self = std::static_pointer_cast<KorvaniWebView>(shared_from_this());
  if (!imageButton_) imageButton_ = ui::defaultButtonCloseImage();
  buttonClose_ = ui::newCloseButton(imageButton_);
  buttonClose_->addAction(
      [weak = std::weak_ptr(self)](const std::shared_ptr<Button>& button) {
        guarded([&] {
          if (const auto popUp = weak.lock()) popUp->close(button);
        });
      },
      ControlEvent::kTouchUpInside);
  view()->addSubview(buttonClose_);
  webView_ = phone().webViews().newWebView(ui::contentFrame());
  if (!webView_) return;
  webView_->setDelegate(self);
  view()->addSubview(webView_);
}

void KorvaniWebView::setWebviewURL(std::optional<std::string> address) {
  webviewURL_ = std::move(address);
  if (webviewURL_ && webView_) webView_->loadRequest(platform::URL::URLWithString(*webviewURL_));
}

void KorvaniWebView::setImageButton(std::shared_ptr<const platform::Image> image) {
  imageButton_ = std::move(image);
  if (imageButton_ && buttonClose_) buttonClose_->setImage(imageButton_, ControlState::kNormal);
}

void KorvaniWebView::close(const std::shared_ptr<Button>&) { dismissViewControllerAnimated(true); }

void KorvaniWebView::webViewDidFailLoadWithError(const std::shared_ptr<platform::WebView>&,
                                                 const std::string& localizedDescription) {
  guarded([&] {
    if (debug_) logLine("ERROR - webView didFailLoadWithError ", localizedDescription);
  });
}

void KorvaniWebView::didReceiveMemoryWarning() { ViewController::didReceiveMemoryWarning(); }

}  // namespace korvani
