// Views whose content is a widget that somebody else has made: a page, or a screen of the host's.
#pragma once

#include <korvani/platform/screens/view.h>

#include <QPointer>
#include <QWidget>
#include <memory>
#include <utility>

namespace korvani::qt {

/// A view that is one of these too is mirrored by showing the widget in its frame.
class HeldWidget {
 public:
  virtual ~HeldWidget() = default;
  /// Null while there is none. The mirror owns it once it has taken it as a child. Main thread.
  virtual QWidget* heldWidget() = 0;
};

class WidgetView final : public platform::View, public HeldWidget {
 public:
  WidgetView(platform::Rect frame, std::unique_ptr<QWidget> widget)
      : View(frame), widget_(widget.release()) {}
  ~WidgetView() override {
    // On whatever thread the model dies.
    if (widget_) widget_->deleteLater();
  }
  QWidget* heldWidget() override { return widget_; }

 private:
  const QPointer<QWidget> widget_;
};

}  // namespace korvani::qt
