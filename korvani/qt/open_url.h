// Opening a URI with whatever the desktop has for it.
#pragma once

#include <string>

namespace korvani::qt {

/// Main thread. Did the desktop take it? False for a scheme that nothing handles, for a text
/// without a scheme, and for a scheme by which a stranger would reach into this machine (file:,
/// javascript:), which is also said in the log.
bool openOnDesktop(const std::string& uri);

/// Does an application of the desktop say that it handles the scheme? In a sandbox, from which they
/// are not seen, any scheme may have one: the portal knows.
bool mayHaveHandler(const std::string& scheme);

}  // namespace korvani::qt
