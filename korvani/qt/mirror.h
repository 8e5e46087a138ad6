// Widgets that mirror the screen models: they take the models' frames as they are, follow each
// change, and report touches back.
#pragma once

#include <korvani/platform/screens/view.h>

#include <QWidget>
#include <memory>

namespace korvani::qt {

/// Makes the widget of a view and of all that it holds, and shows it in `parent`, which owns it.
/// The widget keeps the view alive. A screen's root, whose parent is no mirror, fills that whatever
/// its frame says; what it holds keeps its place, and stretches with it where it reaches the right
/// or the lower edge. A view is mirrored once at a time. Main thread.
QWidget* mirrorView(const std::shared_ptr<platform::View>& view, QWidget* parent);

}  // namespace korvani::qt
