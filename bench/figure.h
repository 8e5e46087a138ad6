// What every measurement prints: lines of one table, which bench/run gathers.
#pragma once

#include <cstdio>
#include <string>

namespace korvani::bench {

struct Figure {
  std::string what;
  std::string measured;
  /// What stands beside it, and its value; empty where nothing does.
  std::string beside;
  std::string ratio;
  std::string goal;
  bool isReached = false;
};

inline void print(const Figure& figure) {
  std::printf("| %s | %s | %s | %s | %s | %s |\n", figure.what.c_str(), figure.measured.c_str(),
              figure.beside.c_str(), figure.ratio.c_str(), figure.goal.c_str(),
              figure.isReached ? "reached" : "missed");
  std::fflush(stdout);
}

inline std::string text(double value, const std::string& unit, int decimals = 1) {
  char digits[64];
  std::snprintf(digits, sizeof digits, "%.*f", decimals, value);
  return unit.empty() ? digits : digits + (" " + unit);
}

/// A time beside another one, which it may be at most so many times.
inline void printRatio(const std::string& what, double measured, const std::string& besideName,
                       double beside, double most, const std::string& unit) {
  print({what, text(measured, unit), besideName + ": " + text(beside, unit),
         text(measured / beside, "", 2), "at most " + text(most, "", 2),
         measured <= most * beside});
}

/// Something by itself, which is to stay under a limit.
inline void printUnder(const std::string& what, double measured, double limit,
                       const std::string& unit) {
  print({what, text(measured, unit, 2), "", "", "under " + text(limit, unit, 0), measured < limit});
}

}  // namespace korvani::bench
