// Whether the host runs in a sandbox.
#pragma once

namespace korvani::qt {

/// One of the kinds that have a portal: it stands for the desktop, of which nothing else is seen.
bool isInSandbox();

}  // namespace korvani::qt
