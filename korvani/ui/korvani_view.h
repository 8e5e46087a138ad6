// The full-screen image pop-up: an image below a close button; a tap on it follows its action.
#pragma once

#include <korvani/platform/value.h>
#include <korvani/ui/pop_up.h>

#include <memory>
#include <string_view>
#include <utility>

namespace korvani {

/// A hook for hosts. The kit calls none of its operations, and has none to call yet.
class KorvaniViewDelegate {
 public:
  virtual ~KorvaniViewDelegate() = default;
};

class KORVANI_EXPORT KorvaniView final : public ui::PopUp {
 public:
  std::string_view className() const override { return "KorvaniView"; }

  /// Held weakly.
  void setDelegate(std::weak_ptr<KorvaniViewDelegate> delegate) { delegate_ = std::move(delegate); }
  /// The scenario; its "image" says what a tap does.
  void setDictionaryInfos(platform::Value infos) { dictionaryInfos_ = std::move(infos); }
  /// Null until the view is loaded.
  const std::shared_ptr<platform::ImageView>& imageView() const { return imageView_; }

  /// Follows the image's action: pushes a web page, or opens a URI.
  void imageTouchUpInside(const std::shared_ptr<platform::Button>& button);

 protected:
  void viewDidLoad() override;

 private:
  void pushWebPage(const platform::Value& address);
  void openURI(const platform::Value& uri);

  std::weak_ptr<KorvaniViewDelegate> delegate_;
  platform::Value dictionaryInfos_;
  std::shared_ptr<platform::ImageView> imageView_;
};

}  // namespace korvani
