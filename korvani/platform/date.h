// A moment in time, as the clock tells it and the user-defaults store keeps it.
#pragma once

#include <korvani/platform/export.h>

#include <chrono>
#include <string>

namespace korvani::platform {

/// Milliseconds since 1970-01-01T00:00:00Z, leap seconds not counted.
using Date = std::chrono::time_point<std::chrono::system_clock, std::chrono::milliseconds>;

/// A date of the Gregorian calendar and a time of day, in whatever offset it was made for.
struct CivilTime {
  int year;
  unsigned month;
  unsigned day;
  std::chrono::hh_mm_ss<std::chrono::milliseconds> time;
};

/// The civil time at that moment in UTC; the nearest moment of the years 1 to 9999 stands for one
/// outside them.
KORVANI_EXPORT CivilTime civilTime(Date date);

/// "2026-11-14T22:00:00Z", with three decimals of a second where it has milliseconds.
KORVANI_EXPORT std::string ISO8601Text(Date date);

}  // namespace korvani::platform
