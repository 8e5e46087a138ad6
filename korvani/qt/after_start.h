// When a host has started.
#pragma once

#include <chrono>

namespace korvani::qt {

/// Services that nobody waits for are looked at so long after the start, when the host's first
/// frame has been drawn: each takes a round trip over the bus on the main thread.
inline constexpr std::chrono::milliseconds kAfterStart{150};

}  // namespace korvani::qt
