// The model of a view that shows a web page, and the port that makes one.
#pragma once

#include <korvani/platform/screens/view.h>
#include <korvani/platform/url.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace korvani::platform {

class WebView;

/// Told on the main thread, never from inside `loadRequest`.
class WebViewDelegate {
 public:
  virtual ~WebViewDelegate() = default;
  virtual void webViewDidFailLoadWithError(const std::shared_ptr<WebView>&,
                                           const std::string& /*localizedDescription*/) {}
};

/// Main thread. Links and navigation stay inside the view.
class KORVANI_EXPORT WebView : public View, public std::enable_shared_from_this<WebView> {
 public:
  using View::View;

  void setDelegate(std::weak_ptr<WebViewDelegate> delegate) { delegate_ = std::move(delegate); }
  /// The address last asked for; none before, or when it was asked for without one.
  const std::optional<URL>& url() const { return url_; }
  /// Loads the page, or an empty one. A failure reaches the delegate later, once for each.
  void loadRequest(std::optional<URL> url);

  /// For the phone: the page could not be loaded.
  void loadFailed(const std::string& localizedDescription);

 protected:
  /// The phone's own loading, called by `loadRequest`.
  virtual void load(const std::optional<URL>& url) = 0;

 private:
  std::weak_ptr<WebViewDelegate> delegate_;
  std::optional<URL> url_;
};

class WebViews {
 public:
  virtual ~WebViews() = default;
  /// Main thread. A phone that can show no pages gives a view that fails each load, or null: the
  /// pop-up then has its close button alone.
  virtual std::shared_ptr<WebView> newWebView(Rect frame) = 0;
};

}  // namespace korvani::platform
