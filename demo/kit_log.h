// The lines that the kit logs, kept for the log drawer.
#pragma once

#include <QStringList>

namespace demo {

/// From now on lines of the logging categories "korvani" and "korvani.phone" are kept; all others
/// go where they went before.
void keepKitLog();

/// The lines since the last call, each with its time of day. Any thread.
QStringList takeKitLog();

}  // namespace demo
