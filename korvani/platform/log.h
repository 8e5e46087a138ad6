// The port for the platform's log.
#pragma once

#include <string_view>

namespace korvani::platform {

/// Called by the kit on any thread; may not call the kit back. One call is one line, UTF-8, without
/// a line end and with control characters escaped. A line that cannot be written is dropped.
class Log {
 public:
  virtual ~Log() = default;
  virtual void write(std::string_view line) = 0;
  /// Main thread. The host has asked for lines for developers, or asks for no more; a phone may
  /// have some of its own.
  virtual void setDebug(bool) {}
};

}  // namespace korvani::platform
