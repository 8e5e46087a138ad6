// The full-screen web pop-up: one page below a close button.
#pragma once

#include <korvani/platform/screens/view_controller.h>
#include <korvani/platform/screens/web_view.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace korvani {

/// Main thread. Load the view before setting the address: the page is loaded by the web view that
/// exists at that moment.
class KORVANI_EXPORT KorvaniWebView final : public platform::ViewController,
                                            public platform::WebViewDelegate {
 public:
  std::string_view className() const override { return "KorvaniWebView"; }

  const std::shared_ptr<platform::Button>& buttonClose() const { return buttonClose_; }
  const std::shared_ptr<platform::WebView>& webView() const { return webView_; }
  bool debug() const { return debug_; }
  /// Log lines for pages that fail to load.
  void setDebug(bool debug) { debug_ = debug; }
  void setStatusBarStyle(int style) { statusBarStyle_ = style; }
  int preferredStatusBarStyle() const override { return statusBarStyle_; }
  const std::optional<std::string>& webviewURL() const { return webviewURL_; }
  /// Loads the page; a text that makes no URL loads an empty one, and no text loads nothing.
  void setWebviewURL(std::optional<std::string> address);
  const std::shared_ptr<const platform::Image>& imageButton() const { return imageButton_; }
  /// Nothing leaves the button as it is.
  void setImageButton(std::shared_ptr<const platform::Image> image);

  /// Dismisses the pop-up, and the navigation that holds it if it was pushed.
  void close(const std::shared_ptr<platform::Button>& button);
  void webViewDidFailLoadWithError(const std::shared_ptr<platform::WebView>& webView,
                                   const std::string& localizedDescription) override;
  void didReceiveMemoryWarning() override;

 protected:
  void viewDidLoad() override;

 private:
  std::shared_ptr<platform::Button> buttonClose_;
  std::shared_ptr<platform::WebView> webView_;
  bool debug_ = false;
  int statusBarStyle_ = 0;
  std::optional<std::string> webviewURL_;
  std::shared_ptr<const platform::Image> imageButton_;
};

}  // namespace korvani
