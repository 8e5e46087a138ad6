// The time of the location service: it only goes forward, whatever happens to the date.
#pragma once

#include <chrono>
#include <functional>

namespace korvani::location {

/// Counted from any beginning. A clock that is set anew must not look like a long silence.
using Moment = std::chrono::time_point<std::chrono::steady_clock, std::chrono::milliseconds>;

using MomentSource = std::function<Moment()>;

}  // namespace korvani::location
