// Readers of the values that scripts are made of.
#include "read.h"

#include <korvani/codec/png.h>

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <limits>
#include <optional>
#include <string_view>

#include "fields.h"

namespace korvani::replay {

using platform::Value;

namespace {

/// The unsigned number at the front of the text, of exactly so many digits; it is cut off.
std::optional<int> takeDigits(std::string_view& text, std::size_t count, int base = 10) {
  if (text.size() < count || text.front() == '-') return std::nullopt;
  int number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + count, number, base);
  if (error != std::errc() || end != text.data() + count) return std::nullopt;
  text.remove_prefix(count);
  return number;
}

bool take(std::string_view& text, char character) {
  if (!text.starts_with(character)) return false;
  text.remove_prefix(1);
  return true;
}

/// ".5", ".25" or ".125"; nothing there is 0.
std::optional<std::chrono::milliseconds> takeFraction(std::string_view& text) {
  if (!take(text, '.')) return std::chrono::milliseconds{0};
  int scale = 100;
  int fraction = 0;
  std::size_t digits = 0;
  for (; digits < 3 && !text.empty() && text.front() >= '0' && text.front() <= '9'; ++digits) {
    fraction += scale * (text.front() - '0');
    scale /= 10;
    text.remove_prefix(1);
  }
  if (digits == 0) return std::nullopt;
  return std::chrono::milliseconds{fraction};
}

std::optional<platform::Date> dateFromText(std::string_view text) {
  using namespace std::chrono;
  const auto year = takeDigits(text, 4);
  const bool month_follows = take(text, '-');
  const auto month = takeDigits(text, 2);
  const bool day_follows = take(text, '-');
  const auto day = takeDigits(text, 2);
  const bool time_follows = take(text, 'T');
  const auto hour = takeDigits(text, 2);
  const bool minute_follows = take(text, ':');
  const auto minute = takeDigits(text, 2);
  const bool second_follows = take(text, ':');
  const auto second = takeDigits(text, 2);
  const auto fraction = takeFraction(text);
  const bool complete = month_follows && day_follows && time_follows && minute_follows &&
                        second_follows && take(text, 'Z') && text.empty();
  if (!complete || !year || !month || !day || !hour || !minute || !second || !fraction) {
    return std::nullopt;
  }
  const year_month_day ymd{std::chrono::year{*year},
                           std::chrono::month{static_cast<unsigned>(*month)},
                           std::chrono::day{static_cast<unsigned>(*day)}};
  if (!ymd.ok() || *year < 1 || *hour > 23 || *minute > 59 || *second > 59) return std::nullopt;
  return sys_days{ymd} + hours{*hour} + minutes{*minute} + seconds{*second} + *fraction;
}

}  // namespace

std::chrono::milliseconds millisecondsOf(double seconds) {
  return std::chrono::milliseconds{std::llround(seconds * 1000)};
}

platform::Date readDate(const Value& value) {
  const auto date = dateFromText(asText(value));
  if (!date) throw ScriptError("must be a date such as \"2026-11-15T23:59:00Z\"");
  return *date;
}

std::chrono::minutes readUtcOffset(const Value& value) {
  const std::string held = asText(value);
  std::string_view text = held;
  const bool west = text.starts_with('-');
  const bool signFollows = take(text, west ? '-' : '+');
  const auto hours = takeDigits(text, 2);
  const auto minutes = takeDigits(text, 2);
  if (!signFollows || !hours || !minutes || !text.empty() || *hours > 23 || *minutes > 59) {
    throw ScriptError("must be an offset such as \"+0100\"");
  }
  return std::chrono::minutes{(west ? -1 : 1) * (60 * *hours + *minutes)};
}

platform::Color readColor(const Value& value) {
  const std::string held = asText(value);
  std::string_view text = held;
  const bool hashFollows = take(text, '#');
  const auto red = takeDigits(text, 2, 16);
  const auto green = takeDigits(text, 2, 16);
  const auto blue = takeDigits(text, 2, 16);
  if (!hashFollows || !red || !green || !blue || !text.empty()) {
    throw ScriptError("must be a colour such as \"#20a0ff\"");
  }
  return {static_cast<std::uint8_t>(*red), static_cast<std::uint8_t>(*green),
          static_cast<std::uint8_t>(*blue)};
}

platform::Uuid readUuid(const Value& value) {
  const auto uuid = value.text() ? platform::Uuid::fromString(*value.text()) : std::nullopt;
  if (!uuid) throw ScriptError("must be a UUID such as \"5A1C0DE2-7B4E-4F19-9C3D-2E8B6F0A4D71\"");
  return *uuid;
}

platform::Beacon readBeacon(const Value& value) {
  Fields fields(value);
  platform::Beacon beacon;
  const Value& uuid = fields.get("uuid");
  within("\"uuid\"", [&] { beacon.proximityUUID = readUuid(uuid); });
  beacon.major = static_cast<std::uint16_t>(fields.integer("major", 0, 65535));
  beacon.minor = static_cast<std::uint16_t>(fields.integer("minor", 0, 65535));
  beacon.proximity = static_cast<int>(fields.integer("proximity", std::numeric_limits<int>::min(),
                                                     std::numeric_limits<int>::max()));
  fields.finish();
  return beacon;
}

std::vector<std::uint8_t> readBytes(const Value& value) {
  const std::string held = asText(value);
  std::vector<std::uint8_t> bytes;
  for (std::string_view text = held; !text.empty();) {
    const auto byte = takeDigits(text, 2, 16);
    if (!byte) throw ScriptError("must be bytes in hexadecimal digits, such as \"02011a\"");
    bytes.push_back(static_cast<std::uint8_t>(*byte));
  }
  return bytes;
}

void checkAddress(const Value& value) {
  const std::string held = asText(value);
  std::string_view text = held;
  constexpr int kBytes = 6;
  bool isAddress = takeDigits(text, 2, 16).has_value();
  for (int i = 1; i < kBytes; ++i)
    isAddress = isAddress && take(text, ':') && takeDigits(text, 2, 16);
  if (!isAddress || !text.empty()) {
    throw ScriptError("must be an address such as \"00:00:00:00:00:01\"");
  }
}

std::string readFile(const Value& path) {
  const std::string name = asText(path);
  std::ifstream file(name, std::ios::binary);
  std::string bytes;
  std::array<char, 65536> piece;
  while (file.read(piece.data(), piece.size()) || file.gcount() > 0) {
    bytes.append(piece.data(), static_cast<std::size_t>(file.gcount()));
  }
  if (!file.is_open() || file.bad()) throw ScriptError("cannot read the file " + quoted(name));
  return bytes;
}

std::shared_ptr<const platform::Image> readImage(const Value& path) {
  auto image = codec::PngDecoder().imageWithData(readFile(path), 1.0);
  if (!image) throw ScriptError("is no image: " + quoted(asText(path)));
  return image;
}

}  // namespace korvani::replay
