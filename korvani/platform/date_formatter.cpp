// The pattern is walked once a call: it has a handful of characters.
#include <korvani/platform/date_formatter.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace korvani::platform {
namespace {

std::string padded(unsigned number, int width) {
  char text[16];
  const int length = std::snprintf(text, sizeof text, "%0*u", width, number);
  return std::string(text, static_cast<std::size_t>(length));
}

std::string offsetText(std::chrono::minutes offset) {
  const auto minutes = static_cast<unsigned>(std::abs(offset.count()));
  std::string text(1, offset.count() < 0 ? '-' : '+');
  text += padded(minutes / 60, 2);
  text += padded(minutes % 60, 2);
  return text;
}

}  // namespace

std::string DateFormatter::stringFromDate(Date date) const {
  const std::chrono::minutes offset = clock_.utcOffset(date);
  // A moment at the very edge of the representable range has no local one.
  const bool representable =
      date < Date::max() - std::chrono::days{2} && date > Date::min() + std::chrono::days{2};
  const CivilTime local = civilTime(representable ? date + offset : date);
  std::string text;
  std::string_view pattern = dateFormat_;
  const auto consume = [&pattern](std::string_view field) {
    const bool found = pattern.starts_with(field);
    if (found) pattern.remove_prefix(field.size());
    return found;
  };
  while (!pattern.empty()) {
    if (consume("yyyy")) {
      text += padded(static_cast<unsigned>(local.year), 4);
    } else if (consume("MM")) {
      text += padded(local.month, 2);
    } else if (consume("dd")) {
      text += padded(local.day, 2);
    } else if (consume("Z")) {
      text += offsetText(offset);
    } else {
      text += pattern.front();
      pattern.remove_prefix(1);
    }
  }
  return text;
}

}  // namespace korvani::platform
