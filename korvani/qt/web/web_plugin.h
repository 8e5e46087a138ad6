// The way to the web plug-in, with what a web engine wants before it is loaded.
#pragma once

#include <korvani/qt/web/page_view.h>

#include <QString>

namespace korvani::qt {

/// Main thread. Loads the plug-in at the first call; it stays loaded, as a web engine cannot be
/// taken down. Null, with the reason, where no page can be shown.
PageViews* pageViews(QString& reason);

}  // namespace korvani::qt
