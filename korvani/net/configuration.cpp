// Once a calendar day the kit asks which proximity UUID the customer's beacons bear.
#include <korvani/net/configuration.h>
#include <korvani/platform/utf8.h>
#include <korvani/sdk/guard.h>
#include <korvani/sdk/korvani.h>
#include <korvani/sdk/stored_keys.h>

#include <charconv>
#include <cstdint>

namespace korvani {

using platform::Value;

namespace {

/// 20261115 for a date on that day here and now.
std::int32_t dayNumber(const platform::DateFormatter& formatter, platform::Date date) {
  const std::string text = formatter.stringFromDate(date);
  std::int32_t number = 0;
  std::from_chars(text.data(), text.data() + text.size(), number);
  return number;
}

}  // namespace

std::optional<std::string> hyphenatedUUID(std::string_view text) {
  std::string grouped;
  for (const std::size_t length : {8U, 4U, 4U, 4U, 12U}) {
    const std::size_t end = platform::utf8Offset(text, length);
    if (end == text.npos) return std::nullopt;
    if (!grouped.empty()) grouped += '-';
    grouped += text.substr(0, end);
    text.remove_prefix(end);
  }
  return grouped;
}

void Korvani::requestConfiguration() {
  const Value last = standardUserDefaults_.load()->objectForKey(kLastRequestConfigKey);
  const auto& formatter = *dateFormatterYYYYMMDD_;
  if (last.date() &&
      dayNumber(formatter, phone().clock().now()) <= dayNumber(formatter, *last.date())) {
    return;
  }
  requestPostWithUrl(
      "configuration", std::nullopt,
      [kit = shared_from_this()](const Value& answer) { kit->configurationReceived(answer); },
      [](const std::string& error) {
        if (sharedInstance()->debug()) logLine("ERROR - request configuration -- ", error);
      });
}

void Korvani::configurationReceived(const Value& answer) {
  const std::string* sent = answer.at("korvani_uuid").text();
  const auto uuid = sent ? hyphenatedUUID(*sent) : std::nullopt;
  if (!uuid) return;
  // The region follows what the store holds then, also where it failed on the way.
  guarded([&] {
    platform::UserDefaults& store = *standardUserDefaults_.load();
    store.setObject(phone().clock().now(), kLastRequestConfigKey);
    store.setObject(*uuid, kKorvaniUUIDKey);
    store.synchronize();
  });
  initBeacon();
}

}  // namespace korvani
