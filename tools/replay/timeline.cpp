// Effects as people read them. Every text is escaped where it could steer a terminal.
#include "timeline.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <map>
#include <string_view>

namespace korvani::replay {

using platform::Value;

namespace {

constexpr std::size_t kThreadWidth = 8;
constexpr std::size_t kKindWidth = 21;

constexpr std::string_view kQuiet = "2";
constexpr std::string_view kGreen = "32";
constexpr std::string_view kYellow = "33";
constexpr std::string_view kBlue = "34";
constexpr std::string_view kMagenta = "35";
constexpr std::string_view kRed = "31";
constexpr std::string_view kPlain = "0";

std::string_view colourOf(std::string_view kind) {
  static const std::map<std::string_view, std::string_view> kColours{
      {"alert", kRed},          {"callback", kYellow}, {"fetch", kBlue},    {"location", kYellow},
      {"log", kQuiet},          {"openURL", kMagenta}, {"page", kMagenta},  {"request", kBlue},
      {"notification", kGreen}, {"screen", kMagenta},  {"shown", kMagenta}, {"store", kQuiet},
  };
  const auto found = kColours.find(kind);
  return found == kColours.end() ? kPlain : found->second;
}

/// Hours, minutes, seconds: "  0:00:01.100".
std::string clockText(std::chrono::milliseconds moment) {
  const auto count = static_cast<long long>(moment.count());
  std::array<char, 48> text;
  std::snprintf(text.data(), text.size(), "%3lld:%02lld:%02lld.%03lld", count / 3600000,
                count / 60000 % 60, count / 1000 % 60, count % 1000);
  return text.data();
}

std::string column(std::string text, std::size_t width) {
  text.resize(std::max(width, text.size() + 1), ' ');
  return text;
}

/// "key value, key value" of a dictionary; all else as in a log line.
std::string entries(const Value& content) {
  if (!content.isDictionary()) return content.description();
  std::string text;
  for (const auto& [key, value] : *content.dictionary()) {
    if (!text.empty()) text += ", ";
    text += Value(key).description() + ' ' + value.description();
  }
  return text;
}

std::string words(const std::string& kind, const Value& content) {
  const auto said = [&](std::string_view key) { return content.at(key).description(); };
  if (kind == "request") {
    const std::string line = said("method") + ' ' + said("url");
    return content.at("body").isNull() ? line : line + "  " + said("body");
  }
  if (kind == "store" && content.has("set")) return said("set") + " = " + said("value");
  if (kind == "location" && content.has("operation")) {
    const std::string line = said("operation") + ", manager " + said("manager");
    const Value& region = content.at("region");
    return region.isNull() ? line : line + ", " + region.at("proximityUUID").description();
  }
  if (kind == "notification") return said("alertBody") + "  " + said("userInfo");
  if (kind == "openURL") {
    return said("url") + (content.at("opened").booleanReading() ? "" : "  not opened");
  }
  return entries(content);
}

}  // namespace

std::string timelineLine(const simulator::Effect& effect, bool inColour) {
  const std::string kind = column(effect.kind, kKindWidth);
  const std::string colour(inColour ? colourOf(effect.kind) : "");
  return clockText(effect.at) + "  " + column(std::string(effect.thread), kThreadWidth) +
         (inColour ? "\033[" + colour + 'm' + kind + "\033[0m" : kind) +
         words(effect.kind, effect.content) + '\n';
}

bool showsColours(std::FILE* output) {
  const char* refusal = std::getenv("NO_COLOR");
  return isatty(fileno(output)) != 0 && (!refusal || *refusal == '\0');
}

}  // namespace korvani::replay
