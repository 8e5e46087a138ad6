// The full-screen image pop-up: an image below a close button; a tap on it follows its action.
#pragma once

#include <korvani/platform/screens/view_controller.h>
#include <korvani/platform/value.h>

#include <memory>
#include <string_view>
#include <utility>

namespace korvani {

/// A hook for hosts. The kit calls none of its operations, and has none to call yet.
class KorvaniViewDelegate {
 public:
  virtual ~KorvaniViewDelegate() = default;
};

/// Main thread.
class KORVANI_EXPORT KorvaniView final : public platform::ViewController {
 public:
  std::string_view className() const override { return "KorvaniView"; }

  const std::shared_ptr<platform::Button>& buttonClose() const { return buttonClose_; }
  std::shared_ptr<KorvaniViewDelegate> delegate() const { return delegate_.lock(); }
  /// Held weakly.
  void setDelegate(std::weak_ptr<KorvaniViewDelegate> delegate) { delegate_ = std::move(delegate); }
  bool debug() const { return debug_; }
  /// Log lines for URIs that a tap opens.
  void setDebug(bool debug) { debug_ = debug; }
  void setStatusBarStyle(int style) { statusBarStyle_ = style; }
  int preferredStatusBarStyle() const override { return statusBarStyle_; }
  const platform::Value& dictionaryInfos() const { return dictionaryInfos_; }
  /// The scenario; its "image" says what a tap does.
  void setDictionaryInfos(platform::Value infos) { dictionaryInfos_ = std::move(infos); }
  const std::shared_ptr<const platform::Image>& imageButton() const { return imageButton_; }
  /// Nothing leaves the button as it is.
  void setImageButton(std::shared_ptr<const platform::Image> image);
  /// Null until the view is loaded.
  const std::shared_ptr<platform::ImageView>& imageView() const { return imageView_; }

  /// Follows the image's action: pushes a web page, or opens a URI.
  void imageTouchUpInside(const std::shared_ptr<platform::Button>& button);
  /// Dismisses the pop-up with the navigation that holds it.
  void close(const std::shared_ptr<platform::Button>& button);
  void didReceiveMemoryWarning() override;

 protected:
  void viewDidLoad() override;

 private:
  void pushWebPage(const platform::Value& address);
  void openURI(const platform::Value& uri);

  std::shared_ptr<platform::Button> buttonClose_;
  std::weak_ptr<KorvaniViewDelegate> delegate_;
  bool debug_ = false;
  int statusBarStyle_ = 0;
  platform::Value dictionaryInfos_;
  std::shared_ptr<const platform::Image> imageButton_;
  std::shared_ptr<platform::ImageView> imageView_;
};

}  // namespace korvani
