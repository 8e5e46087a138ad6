// Calendar arithmetic on moments.
#include <korvani/platform/date.h>

#include <algorithm>
#include <cstdio>

namespace korvani::platform {

CivilTime civilTime(Date date) {
  using namespace std::chrono;
  constexpr Date kFirst{sys_days{year{1} / January / 1}};
  constexpr Date kLast{sys_days{year{10000} / January / 1} - milliseconds{1}};
  date = std::clamp(date, kFirst, kLast);
  const auto midnight = floor<days>(date);
  const year_month_day ymd{midnight};
  return {static_cast<int>(ymd.year()), static_cast<unsigned>(ymd.month()),
          static_cast<unsigned>(ymd.day()), hh_mm_ss<milliseconds>{date - midnight}};
}

std::string ISO8601Text(Date date) {
  const CivilTime civil = civilTime(date);
  const auto count = [](auto part) { return static_cast<int>(part.count()); };
  char text[48];
  int length = std::snprintf(text, sizeof text, "%04d-%02u-%02uT%02d:%02d:%02d", civil.year,
                             civil.month, civil.day, count(civil.time.hours()),
                             count(civil.time.minutes()), count(civil.time.seconds()));
  std::string result(text, static_cast<std::size_t>(length));
  if (const int milliseconds = count(civil.time.subseconds()); milliseconds != 0) {
    length = std::snprintf(text, sizeof text, ".%03d", milliseconds);
    result.append(text, static_cast<std::size_t>(length));
  }
  return result + "Z";
}

}  // namespace korvani::platform
