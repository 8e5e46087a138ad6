// Plain models of what stands on a screen: a view tree with buttons and image views. A phone
// mirrors them; the kit never sees a real window. Main thread.
#pragma once

#include <korvani/platform/export.h>
#include <korvani/platform/screens/color.h>
#include <korvani/platform/screens/geometry.h>
#include <korvani/platform/screens/image.h>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace korvani::platform {

class KORVANI_EXPORT View {
 public:
  explicit View(Rect frame = {}) : frame_(frame) {}
  View(const View&) = delete;
  View& operator=(const View&) = delete;
  virtual ~View();

  /// In points, relative to the view that holds this one.
  const Rect& frame() const { return frame_; }
  Size bounds() const { return {frame_.width, frame_.height}; }
  void setFrame(const Rect& frame);
  /// None is transparent.
  const std::optional<Color>& backgroundColor() const { return backgroundColor_; }
  void setBackgroundColor(std::optional<Color> color);

  /// Back to front. A view is held by one other at most.
  const std::vector<std::shared_ptr<View>>& subviews() const { return subviews_; }
  void addSubview(std::shared_ptr<View> view);
  /// The front-most view at that point, in this view's own coordinates; null outside the frame.
  /// Like drawing, it does not stop a subview at this view's edge; the point itself must be inside.
  View* hitTest(Point point);

  /// Called after each change of this view; a phone's mirror sets it, once.
  void setChangeObserver(std::function<void()> observer) { changed_ = std::move(observer); }

 protected:
  void changed();

 private:
  Rect frame_;
  std::optional<Color> backgroundColor_;
  std::vector<std::shared_ptr<View>> subviews_;
  std::function<void()> changed_;
};

enum class ControlState : unsigned { kNormal = 0 };
enum class ControlEvent : unsigned { kTouchUpInside = 64 };
enum class ButtonType { kCustom = 0 };

/// What a button does when it is touched; the argument is the button.
class KORVANI_EXPORT Button : public View, public std::enable_shared_from_this<Button> {
 public:
  using Action = std::function<void(const std::shared_ptr<Button>&)>;

  static std::shared_ptr<Button> buttonWithType(ButtonType type);
  explicit Button(ButtonType type) : buttonType_(type) {}

  ButtonType buttonType() const { return buttonType_; }
  const std::shared_ptr<const Image>& image(ControlState state) const;
  void setImage(std::shared_ptr<const Image> image, ControlState state);
  void addAction(Action action, ControlEvent event);
  /// A phone calls this when the user lets go inside the button.
  void sendActionsForControlEvent(ControlEvent event);

 private:
  const ButtonType buttonType_;
  std::shared_ptr<const Image> image_;
  std::vector<Action> touchUpInside_;
};

enum class ContentMode { kScaleToFill = 0, kScaleAspectFit = 1 };

class KORVANI_EXPORT ImageView : public View {
 public:
  using View::View;

  const std::shared_ptr<const Image>& image() const { return image_; }
  void setImage(std::shared_ptr<const Image> image);
  ContentMode contentMode() const { return contentMode_; }
  void setContentMode(ContentMode mode);

 private:
  std::shared_ptr<const Image> image_;
  ContentMode contentMode_ = ContentMode::kScaleToFill;
};

}  // namespace korvani::platform
