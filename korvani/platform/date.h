// A moment in time, as the clock tells it and the user-defaults store keeps it.
#pragma once

#include <chrono>

namespace korvani::platform {

/// Milliseconds since 1970-01-01T00:00:00Z, leap seconds not counted.
using Date = std::chrono::time_point<std::chrono::system_clock, std::chrono::milliseconds>;

}  // namespace korvani::platform
