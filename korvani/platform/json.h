// The port for reading JSON.
#pragma once

#include <korvani/platform/value.h>

#include <string_view>

namespace korvani::platform {

/// Any thread.
class JSONSerialization {
 public:
  virtual ~JSONSerialization() = default;
  /// A dictionary or an array; null when the text is not JSON (RFC 8259) with an object or array at
  /// the top, is deeper than 512 levels or longer than 16 MiB. Of a repeated key the last counts.
  virtual Value JSONObjectWithData(std::string_view data) const = 0;
};

}  // namespace korvani::platform
