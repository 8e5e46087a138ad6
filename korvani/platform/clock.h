// The port for time: now, sleep, and the offset from UTC that dates are formatted with.
#pragma once

#include <korvani/platform/date.h>

#include <chrono>

namespace korvani::platform {

/// Called by the kit on any thread. An adapter throws nothing here; a clock that jumps is the
/// kit's to live with.
class Clock {
 public:
  virtual ~Clock() = default;
  virtual Date now() const = 0;
  /// The device's offset from UTC at that date, by its current time zone.
  virtual std::chrono::minutes utcOffset(Date date) const = 0;
  /// Blocks the calling thread, which is never the main one. When the process ends, it may never
  /// return.
  virtual void sleepFor(std::chrono::milliseconds duration) = 0;
};

}  // namespace korvani::platform
