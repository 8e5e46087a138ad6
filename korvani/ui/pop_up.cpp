// The pieces of both pop-ups.
#include <korvani/sdk/guard.h>
#include <korvani/ui/base64.h>
#include <korvani/ui/default_button_close_image.h>
#include <korvani/ui/pop_up.h>

namespace korvani::ui {

using platform::Button;
using platform::Image;
using platform::Rect;

std::shared_ptr<const Image> defaultButtonCloseImage() {
  constexpr double kScale = 3;
  return phone().images().imageWithData(base64Decoded(kDefaultButtonCloseImage), kScale);
}

std::shared_ptr<Button> newCloseButton(std::shared_ptr<const Image> image) {
  auto button = Button::buttonWithType(platform::ButtonType::kCustom);
  button->setImage(std::move(image), platform::ControlState::kNormal);
  button->setFrame({2, 22, 40, 40});
  return button;
}

Rect contentFrame() {
  const Rect screen = phone().device().mainScreenBounds();
  return {0, kContentTop, screen.width, screen.height - kContentTop};
}

}  // namespace korvani::ui
