// Building the web pop-up, and loading its page.
#include <korvani/ui/korvani_web_view.h>

#include <utility>

namespace korvani {

void KorvaniWebView::viewDidLoad() {
  PopUp::viewDidLoad();
  webView_ = phone().webViews().newWebView(ui::contentFrame());
  if (!webView_) return;
  webView_->setDelegate(std::static_pointer_cast<KorvaniWebView>(shared_from_this()));
  view()->addSubview(webView_);
}

void KorvaniWebView::setWebviewURL(std::optional<std::string> address) {
  webviewURL_ = std::move(address);
  if (webviewURL_ && webView_) webView_->loadRequest(platform::URL::URLWithString(*webviewURL_));
}

void KorvaniWebView::webViewDidFailLoadWithError(const std::shared_ptr<platform::WebView>&,
                                                 const std::string& localizedDescription) {
  guarded([&] {
    if (debug()) logLine("ERROR - webView didFailLoadWithError ", localizedDescription);
  });
}

}  // namespace korvani
