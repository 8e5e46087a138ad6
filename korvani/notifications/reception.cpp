// The user opened a notification: the host's delegate is told, the content is shown, and the
// opening is confirmed to the service. None of the three depends on the others.
#include <korvani/sdk/guard.h>
#include <korvani/sdk/korvani.h>

namespace korvani {

using platform::Value;

void Korvani::didReceiveLocalNotification(const Value& userInfo) {
  tellHostCalled("didReceiveLocalNotification", [&] {
    return Value::Dictionary{{"userInfo", userInfo}};
  });
  localNotificationOpened(userInfo);
}

void Korvani::localNotificationOpened(const Value& received) {
  guarded([&] {
    // The delegate may change what the host keeps, and `received` with it.
    const Value userInfo = received;
    const auto kit = sharedInstance();
    if (!kit) return;
    if (kit->debug()) logLine("RECEIVE LOCAL NOTIFICATION -- ", userInfo);
    if (!userInfo.isDictionary()) return;
    if (const auto delegate = kit->delegate_.lock()) {
      guarded([&] {
        delegate->korvaniDidReceiveNotification(
            userInfo.without({"success", "error_message", "scenario_history_id", "disabled"}));
      });
    }
    if (!kit->modeCustomView_) guarded([&] { kit->showContent(userInfo); });
    if (userInfo.has("scenario_history_id")) kit->confirm(userInfo.at("scenario_history_id"));
  });
}

void Korvani::showContent(const Value& scenario) {
  const std::string* type = scenario.at("type").text();
  if (!type) return;
  if (*type == "IMG") {
    launchViewWithInfos(scenario);
  } else if (*type == "WVW") {
    launchWebViewWithInfos(scenario);
  } else if (*type == "URI") {
    openURI(scenario.at("uri"));
  }
}

void Korvani::confirm(const Value& scenarioHistoryId) {
  // Before a start call with a key there is nothing to ask, and nobody to ask it as.
  if (!dateFormatterGMT_) return;
  const Record record{
      {"scenario_history_id", scenarioHistoryId.plainText()},
      {"timezone", dateFormatterGMT_->stringFromDate(phone().clock().now())},
  };
  requestPostWithUrl(
      "confirm", record, [](const Value&) {},
      [](const std::string& error) {
        if (sharedInstance()->debug()) logLine("ERROR - request confirm -- ", error);
      });
}

}  // namespace korvani
