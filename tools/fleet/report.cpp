// Sums, peaks and their times of day.
#include "report.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <numeric>

namespace korvani::fleet {
namespace {

using std::chrono::seconds;

template <typename... Arguments>
void append(std::string& text, const char* format, Arguments... arguments) {
  std::array<char, 256> line;
  const int length = std::snprintf(line.data(), line.size(), format, arguments...);
  text.append(line.data(), static_cast<std::size_t>(length));
}

std::uint64_t sum(const Figures& figures, seconds from, seconds to) {
  const auto& counts = figures.perSecond;
  return std::accumulate(counts.begin() + from.count(), counts.begin() + to.count(),
                         std::uint64_t{0});
}
std::uint64_t sum(const Figures& figures) {
  return sum(figures, seconds{0}, seconds(static_cast<std::int64_t>(figures.perSecond.size())));
}

Figures total(const Ledger& ledger) {
  Figures total;
  for (const Figures& figures : ledger.figures()) total += figures;
  return total;
}

/// The first of the busiest spans of that length.
struct Peak {
  std::uint64_t requests = 0;
  seconds at{0};
};
Peak peakOf(const Figures& figures, seconds span) {
  Peak peak;
  const seconds end(static_cast<std::int64_t>(figures.perSecond.size()));
  for (seconds at{0}; at < end; at += span) {
    const std::uint64_t requests = sum(figures, at, at + span);
    if (requests > peak.requests) peak = {requests, at};
  }
  return peak;
}

/// "07:02:11", with the number of the day before it where there are several.
std::string timeText(const Habits& habits, seconds at) {
  const std::chrono::hh_mm_ss time(at % kDay);
  std::string text;
  if (habits.days > 1) append(text, "%d+", static_cast<int>(at / kDay) + 1);
  append(text, "%02d:%02d:%02d", static_cast<int>(time.hours().count()),
         static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()));
  return text;
}

double ratio(double part, double whole) { return whole > 0 ? part / whole : 0; }

void appendRow(std::string& text, const Habits& habits, std::string_view name,
               const Figures& figures) {
  const auto requests = static_cast<double>(sum(figures));
  const Peak second = peakOf(figures, seconds{1});
  const Peak minute = peakOf(figures, seconds{60});
  append(text, "%-13s %9.0f %12.3f %12.3f %8llu  %-12s %12.2f  %-12s %9.1f %9.1f\n",
         std::string(name).c_str(), requests,
         requests / static_cast<double>(habits.phones) / habits.days,
         requests / static_cast<double>(figures.perSecond.size()),
         static_cast<unsigned long long>(second.requests), timeText(habits, second.at).c_str(),
         static_cast<double>(minute.requests) / 60, timeText(habits, minute.at).c_str(),
         ratio(static_cast<double>(figures.requestBytes), requests),
         ratio(static_cast<double>(figures.answerBytes), requests));
}

}  // namespace

std::string report(const Habits& habits, std::size_t disabledPhones, const Ledgers& ledgers) {
  std::string text =
      "               requests    per phone  per second:  busiest              in the busiest      "
      "  "
      "    bytes of   and its\n"
      "                             and day         mean   second  at                 minute  at   "
      " "
      "   a request    answer\n";
  auto rows = ledgers.enabled.figures();
  const auto ofDisabled = ledgers.disabled.figures();
  Figures all;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    rows[i] += ofDisabled[i];
    all += rows[i];
    appendRow(text, habits, kEndpoints[i], rows[i]);
  }
  appendRow(text, habits, "all", all);

  if (habits.train > 0) {
    constexpr auto kArrives = std::chrono::duration_cast<seconds>(kTrainArrives);
    const seconds from = kArrives;
    const seconds to = kArrives + seconds{60};
    append(text, "train of %zu phones: %llu requests from %s to %s, at most %llu in a second\n",
           habits.train, static_cast<unsigned long long>(sum(all, from, to)),
           timeText(habits, from).c_str(), timeText(habits, to).c_str(),
           static_cast<unsigned long long>(*std::max_element(all.perSecond.begin() + from.count(),
                                                             all.perSecond.begin() + to.count())));
  }
  if (disabledPhones > 0) {
    const std::uint64_t sent = sum(total(ledgers.disabled));
    const std::uint64_t otherwise = sum(total(ledgers.undisabled));
    const std::uint64_t others = sum(total(ledgers.enabled));
    append(text,
           "disabled mode: %zu phones sent %llu requests in place of %llu, which saves %.1f %% of "
           "all\n",
           disabledPhones, static_cast<unsigned long long>(sent),
           static_cast<unsigned long long>(otherwise),
           100 * (1 - ratio(static_cast<double>(others + sent),
                            static_cast<double>(others + otherwise))));
  }
  return text;
}

}  // namespace korvani::fleet
