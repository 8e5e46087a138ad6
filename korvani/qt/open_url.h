// Opening a URI with whatever the desktop has for it.
#pragma once

#include <string>

namespace korvani::qt {

/// Main thread. Did the desktop take it? False for a scheme that nothing handles, for a text
/// without a scheme, and for a scheme by which a stranger would reach into this machine (file:,
/// javascript:), which is also said in the log.
bool openOnDesktop(const std::string& uri);

/// Does an application of the desktop say that it handles the scheme?
bool hasSchemeHandler(const std::string& scheme);

}  // namespace korvani::qt
