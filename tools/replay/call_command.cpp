// The line with which the host calls the kit.
#include <korvani/sdk/korvani.h>

#include <limits>
#include <map>

#include "commands.h"
#include "read.h"

namespace korvani::replay {

using platform::Value;

namespace {

using Reader = Action (*)(Fields&);

Action readInitWithAPIKey(Fields& arguments) {
  const auto key = arguments.textOrNull("APIKey");
  std::shared_ptr<platform::LocalNotification> launch;
  const Value* notification = arguments.find("localNotification");
  if (notification && !notification->isNull()) {
    within("\"localNotification\"", [&] {
      launch = std::make_shared<platform::LocalNotification>();
      Fields fields(*notification);
      launch->userInfo = fields.get("userInfo");
      if (!launch->userInfo.isNull() && !launch->userInfo.isDictionary()) {
        throw ScriptError("\"userInfo\": must be an object or null");
      }
      fields.finish();
    });
  }
  const bool isProd = arguments.boolean("isProd", false);
  return [=](Player&) { Korvani::initWithAPIKey(key, launch, isProd); };
}

Action readSetDelegate(Fields& arguments) {
  const Value& value = arguments.get("value");
  DelegateKind kind = DelegateKind::kGone;
  if (value.boolean()) {
    kind = *value.boolean() ? DelegateKind::kRecording : DelegateKind::kNone;
  } else if (!(value == Value("gone"))) {
    throw ScriptError("\"value\": must be true, false or \"gone\"");
  }
  return [kind](Player& player) { player.setDelegate(kind); };
}

Action readSetStatusBarStyle(Fields& arguments) {
  const auto style = static_cast<int>(
      arguments.integer("value", std::numeric_limits<int>::min(), std::numeric_limits<int>::max()));
  return [style](Player&) { Korvani::setStatusBarStyle(style); };
}

Action readSetColorBackground(Fields& arguments) {
  const Value& value = arguments.get("value");
  std::optional<platform::Color> color;
  within("\"value\"", [&] {
    if (!value.isNull()) color = readColor(value);
  });
  return [color](Player&) { Korvani::setColorBackground(color); };
}

Action readSetCloseButtonImage(Fields& arguments) {
  const Value& value = arguments.get("value");
  std::shared_ptr<const platform::Image> image;
  within("\"value\"", [&] {
    if (!value.isNull()) image = readImage(value);
  });
  return [image](Player&) { Korvani::setCloseButtonImage(image); };
}

Action readSetDebugLogEnabled(Fields& arguments) {
  const bool debug = arguments.boolean("value");
  return [debug](Player&) { Korvani::setDebugLogEnabled(debug); };
}

Action readSetModeCustomView(Fields& arguments) {
  const bool custom = arguments.boolean("value");
  return [custom](Player&) { Korvani::setModeCustomView(custom); };
}

Action readSetUserId(Fields& arguments) {
  const auto userID = arguments.textOrNull("value");
  return [userID](Player&) { Korvani::setUserId(userID); };
}

Action readDidReceiveLocalNotification(Fields& arguments) {
  const Value userInfo = arguments.get("userInfo");
  return [userInfo](Player&) { Korvani::didReceiveLocalNotification(userInfo); };
}

platform::Beacon readBeaconArgument(Fields& arguments) {
  const Value& value = arguments.get("beacon");
  platform::Beacon beacon;
  within("\"beacon\"", [&] { beacon = readBeacon(value); });
  return beacon;
}

void recordRecord(Player& player, const std::optional<Record>& record) {
  if (!record) {
    player.phone().record("record", nullptr);
    return;
  }
  Value::Dictionary entries;
  for (const auto& [key, value] : *record) entries.emplace(key, value);
  player.phone().record("record", entries);
}

Action readFormParamForRequestAPI(Fields& arguments) {
  const platform::Beacon beacon = readBeaconArgument(arguments);
  const std::string proximity = arguments.text("andProximity");
  return [=](Player& player) {
    const auto kit = Korvani::sharedInstance();
    if (!kit) return;
    const platform::Date now = player.phone().clock().now();
    recordRecord(player, kit->formParamForRequestAPIwithBeacon(beacon, proximity, now));
  };
}

Action readFormParamForServices(Fields& arguments) {
  const platform::Beacon beacon = readBeaconArgument(arguments);
  return [=](Player& player) {
    const auto kit = Korvani::sharedInstance();
    if (kit) recordRecord(player, kit->formParamForServicesWithBeacon(beacon));
  };
}

Action readSendLocalNotification(Fields& arguments) {
  const std::string text = arguments.text("text");
  return [text](Player&) {
    if (const auto kit = Korvani::sharedInstance()) kit->sendLocalNotification(text);
  };
}

template <void (*call)()>
Action readPlainCall(Fields&) {
  return [](Player&) { call(); };
}

const std::map<std::string_view, Reader> kCalls{
    {"didBecomeActive", readPlainCall<&Korvani::didBecomeActive>},
    {"didEnterBackground", readPlainCall<&Korvani::didEnterBackground>},
    {"didReceiveLocalNotification", readDidReceiveLocalNotification},
    {"formParamForRequestAPIwithBeacon", readFormParamForRequestAPI},
    {"formParamForServicesWithBeacon", readFormParamForServices},
    {"initWithAPIKey", readInitWithAPIKey},
    {"requestLocalizationAndNotificationsAuthorization",
     readPlainCall<&Korvani::requestLocalizationAndNotificationsAuthorization>},
    {"sendLocalNotification", readSendLocalNotification},
    {"setCloseButtonImage", readSetCloseButtonImage},
    {"setColorBackground", readSetColorBackground},
    {"setDebugLogEnabled", readSetDebugLogEnabled},
    {"setDelegate", readSetDelegate},
    {"setModeCustomView", readSetModeCustomView},
    {"setStatusBarStyle", readSetStatusBarStyle},
    {"setUserId", readSetUserId},
};

}  // namespace

Action readCall(const std::string& name, Fields& arguments) {
  const auto found = kCalls.find(name);
  if (found == kCalls.end()) throw ScriptError("unknown call " + quoted(name));
  return found->second(arguments);
}

}  // namespace korvani::replay
