// The pieces of both pop-ups.
#include <korvani/ui/base64.h>
#include <korvani/ui/default_button_close_image.h>
#include <korvani/ui/pop_up.h>

#include <utility>

namespace korvani::ui {

using platform::Button;
using platform::ControlState;
using platform::Image;
using platform::Rect;

namespace {

/// A white disc with a transparent cross, 25 × 25 points.
std::shared_ptr<const Image> defaultButtonCloseImage() {
  constexpr double kScale = 3;
  return phone().images().imageWithData(base64Decoded(kDefaultButtonCloseImage), kScale);
}

}  // namespace

Rect contentFrame() {
  const Rect screen = phone().device().mainScreenBounds();
  return {0, kContentTop, screen.width, screen.height - kContentTop};
}

void PopUp::viewDidLoad() {
  ViewController::viewDidLoad();
  if (!imageButton_) imageButton_ = defaultButtonCloseImage();
  buttonClose_ = Button::buttonWithType(platform::ButtonType::kCustom);
  buttonClose_->setImage(imageButton_, ControlState::kNormal);
  buttonClose_->setFrame({2, 22, 40, 40});
  buttonClose_->addAction(onTouch(shared_from_this(), &PopUp::close),
                          platform::ControlEvent::kTouchUpInside);
  view()->addSubview(buttonClose_);
}

void PopUp::setImageButton(std::shared_ptr<const Image> image) {
  imageButton_ = std::move(image);
  if (imageButton_ && buttonClose_) buttonClose_->setImage(imageButton_, ControlState::kNormal);
}

void PopUp::close(const std::shared_ptr<Button>&) { dismissViewControllerAnimated(true); }

}  // namespace korvani::ui
