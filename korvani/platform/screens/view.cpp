// The view tree: changes are told to the mirror, touches go to the front-most view.
#include <korvani/platform/platform.h>
#include <korvani/platform/screens/view.h>

namespace korvani::platform {

View::~View() = default;

void View::setFrame(const Rect& frame) {
  frame_ = frame;
  changed();
}

void View::setBackgroundColor(std::optional<Color> color) {
  backgroundColor_ = color;
  changed();
}

void View::addSubview(std::shared_ptr<View> view) {
  if (!view) return;
  subviews_.push_back(std::move(view));
  changed();
}

View* View::hitTest(Point point) {
  if (!Rect{0, 0, frame_.width, frame_.height}.contains(point)) return nullptr;
  for (auto it = subviews_.rbegin(); it != subviews_.rend(); ++it) {
    const Rect& frame = (*it)->frame();
    if (View* hit = (*it)->hitTest({point.x - frame.x, point.y - frame.y})) return hit;
  }
  return this;
}

void View::changed() {
  if (changed_) changed_();
}

std::shared_ptr<Button> Button::buttonWithType(ButtonType type) {
  return std::make_shared<Button>(type);
}

const std::shared_ptr<const Image>& Button::image(ControlState) const { return image_; }

void Button::setImage(std::shared_ptr<const Image> image, ControlState) {
  image_ = std::move(image);
  changed();
}

void Button::addAction(Action action, ControlEvent) { touchUpInside_.push_back(std::move(action)); }

void Button::sendActionsForControlEvent(ControlEvent) {
  const std::shared_ptr<Button> self = shared_from_this();
  if (Platform* const phone = Platform::installed()) phone->buttonTouched(*this);
  // An action may add another, or close the screen that holds this button.
  for (const Action& action : std::vector<Action>(touchUpInside_)) action(self);
}

void ImageView::setImage(std::shared_ptr<const Image> image) {
  image_ = std::move(image);
  changed();
}

void ImageView::setContentMode(ContentMode mode) {
  contentMode_ = mode;
  changed();
}

}  // namespace korvani::platform
