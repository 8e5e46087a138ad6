// A beacon is reported, and the service says what to show.
#include <korvani/net/parameters.h>
#include <korvani/sdk/guard.h>
#include <korvani/sdk/korvani.h>

namespace korvani {

using platform::Value;

namespace {

Value describedRecord(const Record& record) {
  Value::Dictionary entries;
  for (const auto& [key, value] : record) entries.emplace(key, value);
  return entries;
}

}  // namespace

void Korvani::requestScenario(const platform::Beacon& beacon) {
  const auto event = proximityWord(beacon.proximity);
  const Record record = scenarioRecord(beacon, *event);
  if (debug()) logLine("PARAMS -- ", describedRecord(record));
  requestPostWithUrl(
      "scenario", record,
      [kit = shared_from_this()](const Value& answer) { kit->scenarioReceived(answer); },
      [](const std::string& error) {
        // Misspelt, and in another case than its sisters: developers look for it so.
        if (sharedInstance()->debug()) logLine("Error - rerquest scenario -- ", error);
      });
}

void Korvani::scenarioReceived(const Value& answer) {
  // What the content needs is read when the user opens it; only the text must be there.
  if (answer.at("success").booleanReading() && answer.has("notification_text")) {
    sendLocalNotificationWithUserInfo(answer);
  }
}

}  // namespace korvani
