// Turns a date into text by a pattern, in the device's current offset from UTC.
#pragma once

#include <korvani/platform/clock.h>
#include <korvani/platform/export.h>

#include <string>
#include <utility>

namespace korvani::platform {

/// Knows the fields yyyy, MM, dd (Gregorian calendar) and Z (offset, such as +0100); every other
/// character stands for itself. It asks the clock at each call, so a changed time zone shows in the
/// next text. Immutable: any thread may use it; the clock must outlive it.
class KORVANI_EXPORT DateFormatter {
 public:
  DateFormatter(const Clock& clock, std::string dateFormat)
      : clock_(clock), dateFormat_(std::move(dateFormat)) {}

  std::string stringFromDate(Date date) const;

 private:
  const Clock& clock_;
  const std::string dateFormat_;
};

}  // namespace korvani::platform
