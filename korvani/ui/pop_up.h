// What both pop-ups share: the place of things on the screen, the close button and its default
// image.
#pragma once

#include <korvani/platform/screens/view.h>

#include <memory>

namespace korvani::ui {

/// The content begins below the close button, in points.
inline constexpr double kContentTop = 64;

/// The close button's default image: a white disc with a transparent cross, 25 × 25 points.
std::shared_ptr<const platform::Image> defaultButtonCloseImage();

/// The close button at its place, with that image.
std::shared_ptr<platform::Button> newCloseButton(std::shared_ptr<const platform::Image> image);

/// The main screen below the close button.
platform::Rect contentFrame();

}  // namespace korvani::ui
