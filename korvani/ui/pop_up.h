// What both pop-ups share: the place of things on the screen, and the close button with its image.
#pragma once

#include <korvani/platform/screens/view_controller.h>
#include <korvani/sdk/guard.h>

#include <memory>

namespace korvani::ui {

/// The content begins below the close button, in points.
inline constexpr double kContentTop = 64;

/// The main screen below the close button.
platform::Rect contentFrame();

/// Main thread. Exported for tests; the header is not installed.
class KORVANI_EXPORT PopUp : public platform::ViewController {
 public:
  /// Null until the view is loaded.
  const std::shared_ptr<platform::Button>& buttonClose() const { return buttonClose_; }
  const std::shared_ptr<const platform::Image>& imageButton() const { return imageButton_; }
  /// Nothing leaves the button as it is.
  void setImageButton(std::shared_ptr<const platform::Image> image);
  void setStatusBarStyle(int style) { statusBarStyle_ = style; }
  int preferredStatusBarStyle() const override { return statusBarStyle_; }
  /// Log lines for what does not open.
  void setDebug(bool debug) { debug_ = debug; }

  /// Dismisses the pop-up with the navigation that holds it.
  void close(const std::shared_ptr<platform::Button>& button);

 protected:
  /// Adds the close button.
  void viewDidLoad() override;
  bool debug() const { return debug_; }

 private:
  std::shared_ptr<platform::Button> buttonClose_;
  std::shared_ptr<const platform::Image> imageButton_;
  int statusBarStyle_ = 0;
  bool debug_ = false;
};

/// The action of a button, by an operation of the pop-up that it stands on.
template <typename Which>
auto onTouch(const std::shared_ptr<platform::ViewController>& popUp,
             void (Which::*operation)(const std::shared_ptr<platform::Button>&)) {
  return [weak = std::weak_ptr(std::static_pointer_cast<Which>(popUp)),
          operation](const std::shared_ptr<platform::Button>& button) {
    guarded([&] {
      if (const auto shown = weak.lock()) (shown.get()->*operation)(button);
    });
  };
}

}  // namespace korvani::ui
