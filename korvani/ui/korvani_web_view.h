// The full-screen web pop-up: one page below a close button.
#pragma once

#include <korvani/platform/screens/web_view.h>
#include <korvani/ui/pop_up.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace korvani {

/// Load the view before setting the address: the page is loaded by the web view that exists at that
/// moment.
class KORVANI_EXPORT KorvaniWebView final : public ui::PopUp, public platform::WebViewDelegate {
 public:
  std::string_view className() const override { return "KorvaniWebView"; }

  const std::shared_ptr<platform::WebView>& webView() const { return webView_; }
  /// Loads the page; a text that makes no URL loads an empty one, and no text loads nothing.
  void setWebviewURL(std::optional<std::string> address);

  void webViewDidFailLoadWithError(const std::shared_ptr<platform::WebView>& webView,
                                   const std::string& localizedDescription) override;

 protected:
  void viewDidLoad() override;

 private:
  std::shared_ptr<platform::WebView> webView_;
  std::optional<std::string> webviewURL_;
};

}  // namespace korvani
