// What all phones' web views share: the address and the way of a failure to the delegate.
#include <korvani/platform/screens/web_view.h>

namespace korvani::platform {

void WebView::loadRequest(std::optional<URL> url) {
  url_ = std::move(url);
  load(url_);
}

void WebView::loadFailed(const std::string& localizedDescription) {
  const auto delegate = delegate_.lock();
  if (delegate) delegate->webViewDidFailLoadWithError(shared_from_this(), localizedDescription);
}

}  // namespace korvani::platform
