// Widgets that mirror the screen models: they take the models' frames as they are, follow each
// change, and report touches back.
#pragma once

#include <korvani/platform/screens/view.h>

#include <QWidget>
#include <memory>

namespace korvani::qt {

/// Makes the widget of a view and of all that it holds, and shows it in `parent`, which owns it.
/// The widget keeps the view alive. A screen's root fills its parent whatever its frame says; what
/// it holds keeps its place. A view is mirrored once at a time. Main thread.
QWidget* mirrorView(const std::shared_ptr<platform::View>& view, QWidget* parent,
                    bool fillsParent = false);

}  // namespace korvani::qt
