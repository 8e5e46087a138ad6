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
using Count = unsigned long long;  // As printf knows it.

template <typename... Arguments>
void append(std::string& text, const char* format, Arguments... arguments) {
  std::array<char, 256> line;
  const int length = std::snprintf(line.data(), line.size(), format, arguments...);
  text.append(line.data(), static_cast<std::size_t>(length));
}

Count sum(const Figures& figures, seconds from, seconds to) {
  const auto& counts = figures.perSecond;
  return std::accumulate(counts.begin() + from.count(), counts.begin() + to.count(), Count{0});
}
Count sum(const Figures& figures) {
  return sum(figures, seconds{0}, seconds(static_cast<std::int64_t>(figures.perSecond.size())));
}

Figures total(const Ledger& ledger) {
  Figures total;
  for (const Figures& figures : ledger.figures()) total += figures;
  return total;
}

/// The first of the busiest spans of that length.
struct Peak {
  Count requests = 0;
  seconds at{0};
};
Peak peakOf(const Figures& figures, seconds span) {
  Peak peak;
  const seconds end(static_cast<std::int64_t>(figures.perSecond.size()));
  for (seconds at{0}; at < end; at += span) {
    const Count requests = sum(figures, at, at + span);
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

double ratio(Count part, Count whole) {
  return whole > 0 ? static_cast<double>(part) / static_cast<double>(whole) : 0;
}

void appendRow(std::string& text, const Habits& habits, std::string_view name,
               const Figures& figures) {
  const Count requests = sum(figures);
  const Peak second = peakOf(figures, seconds{1});
  const Peak minute = peakOf(figures, seconds{60});
  append(text, "%-13s %9llu %10.3f %9.3f %8llu  %-10s %8llu  %-10s %10.1f %10.1f\n",
         std::string(name).c_str(), requests,
         ratio(requests, habits.phones * static_cast<Count>(habits.days)),
         ratio(requests, figures.perSecond.size()), second.requests,
         timeText(habits, second.at).c_str(), minute.requests, timeText(habits, minute.at).c_str(),
         ratio(figures.requestBytes, requests), ratio(figures.answerBytes, requests));
}

}  // namespace

std::string report(const Habits& habits, std::size_t disabledPhones, const Ledgers& ledgers) {
  std::string text;
  const auto appendHead = [&](auto... words) {
    append(text, "%-13s %9s %10s %9s %8s  %-10s %8s  %-10s %10s %10s\n", words...);
  };
  appendHead("", "requests", "per phone", "per", "busiest", "", "busiest", "", "bytes per",
             "bytes per");
  appendHead("", "", "and day", "second", "second", "at", "minute", "at", "request", "answer");
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
    constexpr auto kFrom = std::chrono::duration_cast<seconds>(kTrainArrives);
    constexpr seconds kTo = kFrom + seconds{60};
    append(text, "train of %zu phones: %llu requests from %s to %s, at most %llu in a second\n",
           habits.train, sum(all, kFrom, kTo), timeText(habits, kFrom).c_str(),
           timeText(habits, kTo).c_str(),
           Count{*std::max_element(all.perSecond.begin() + kFrom.count(),
                                   all.perSecond.begin() + kTo.count())});
  }
  if (disabledPhones > 0) {
    const Count sent = sum(total(ledgers.disabled));
    const Count otherwise = sum(total(ledgers.undisabled));
    const Count others = sum(total(ledgers.enabled));
    append(text,
           "disabled mode: %zu phones sent %llu requests in place of %llu, which saves %.1f %% of "
           "all\n",
           disabledPhones, sent, otherwise, 100 * (1 - ratio(others + sent, others + otherwise)));
  }
  return text;
}

}  // namespace korvani::fleet
