// Both sides count by the delivery's id, so what is confirmed twice or shown without a delivery
// does not even out.
#include "road.h"

#include <QFile>
#include <QJsonDocument>
#include <utility>

namespace demo {
namespace {

using korvani::platform::Value;

QString beaconName(int major, int minor) { return QStringLiteral("%1/%2").arg(major).arg(minor); }

/// The kit writes a beacon's numbers in hexadecimal.
QString beaconName(const QJsonObject& parameters) {
  return beaconName(parameters["major"].toString().toInt(nullptr, 16),
                    parameters["minor"].toString().toInt(nullptr, 16));
}

/// "near" for "IN_NEAR_REGION".
QString distanceName(const QJsonObject& parameters) {
  return parameters["event"].toString().section('_', 1, 1).toLower();
}

QString idOf(const QJsonObject& object) {
  return object["scenario_history_id"].toVariant().toString();
}

QString idOf(const Value& userInfo) {
  return QString::fromStdString(userInfo.at("scenario_history_id").plainText());
}

}  // namespace

Road::Road(QSet<QString> beacons, bool keyIsKnown, Tell tell)
    : beacons_(std::move(beacons)), keyIsKnown_(keyIsKnown), tell_(std::move(tell)) {}

void Road::requestLogged(const QJsonObject& request) {
  const QString endpoint = request["endpoint"].toString();
  const QJsonObject parameters = request["parameters"].toObject();
  const QJsonObject answer = request["answer"].toObject();
  if (request["method"].toString() == "GET") {
    tell_("fetched", endpoint);
  } else if (endpoint == "scenario") {
    scenarioLogged(parameters, answer);
  } else if (endpoint == "confirm") {
    confirmLogged(parameters, answer);
  } else {
    tell_("asked", endpoint);
  }
  if (answer.contains("error_message")) {
    ++refused_;
    tell_("refused", answer["error_message"].toString());
  }
}

void Road::scenarioLogged(const QJsonObject& parameters, const QJsonObject& answer) {
  const QString beacon = beaconName(parameters);
  reported_.insert(beacon);
  tell_("reported", QStringLiteral("beacon %1 %2").arg(beacon, distanceName(parameters)));
  if (!answer["success"].toBool()) return;
  Delivery& delivery = deliveries_[idOf(answer)];
  delivery.beacon = beacon;
  delivery.type = answer["type"].toString();
  ++delivery.granted;
  tell_("granted", QStringLiteral("delivery %1 (%2)").arg(idOf(answer), delivery.type));
}

void Road::confirmLogged(const QJsonObject& parameters, const QJsonObject& answer) {
  if (answer["success"].toBool()) ++deliveries_[idOf(parameters)].confirmed;
  tell_("confirmed", QStringLiteral("delivery %1").arg(idOf(parameters)));
}

void Road::notificationPosted(const QString& text, const Value& userInfo) {
  ++deliveries_[idOf(userInfo)].posted;
  tell_("notified", QStringLiteral("delivery %1: %2").arg(idOf(userInfo), text));
}

void Road::notificationOpened(const Value& userInfo) {
  ++deliveries_[idOf(userInfo)].opened;
  tell_("opened", QStringLiteral("delivery %1").arg(idOf(userInfo)));
}

void Road::alertShown(const QString& message) {
  ++alerts_;
  tell_("alert", message);
}

void Road::uriAsked(const QString& uri, bool opened) {
  if (opened) ++shown_["URI"];
  tell_("uri", uri + (opened ? ": opened" : ": nothing opens it"));
}

void Road::screenShown(const QString& name) {
  if (name == std::exchange(screen_, name)) return;
  if (name.startsWith("image")) ++shown_["IMG"];
  if (name.startsWith("web")) ++shown_["WVW"];
  tell_("shown", name.isEmpty() ? QStringLiteral("the shop") : name);
}

QSet<QString> Road::grantedBeacons() const {
  QSet<QString> beacons;
  for (const Delivery& delivery : deliveries_) {
    if (delivery.granted) beacons.insert(delivery.beacon);
  }
  return beacons;
}

int Road::sum(int Delivery::*count) const {
  int all = 0;
  for (const Delivery& delivery : deliveries_) all += delivery.*count;
  return all;
}

QStringList Road::missing() const { return keyIsKnown_ ? missingOnRoad() : missingAtAlert(); }

QStringList Road::missingOnRoad() const {
  QStringList missing;
  for (const QString& beacon : beacons_ - grantedBeacons()) {
    missing << QStringLiteral("beacon %1: %2")
                   .arg(beacon, reported_.contains(beacon) ? "granted nothing" : "not reported");
  }
  if (!beacons_.isEmpty() && deliveries_.size() > beacons_.size()) {
    missing << QStringLiteral("%1 deliveries for %2 beacons")
                   .arg(deliveries_.size())
                   .arg(beacons_.size());
  }
  for (const auto& [id, delivery] : deliveries_.asKeyValueRange()) {
    for (const auto& [times, what] : {std::pair(delivery.granted, "granted"),
                                      {delivery.posted, "notified"},
                                      {delivery.opened, "opened"},
                                      {delivery.confirmed, "confirmed"}}) {
      if (times == 1) continue;
      missing << QStringLiteral("delivery %1: %2 %3 times").arg(id, what).arg(times);
    }
  }
  if (alerts_ > 0) missing << QStringLiteral("an alert that nobody expected");
  return missing + missingContent();
}

QStringList Road::missingContent() const {
  QMap<QString, int> due;
  for (const Delivery& delivery : deliveries_) due[delivery.type] += delivery.opened;
  QStringList missing;
  for (const auto& [kind, times] : due.asKeyValueRange()) {
    const int shown = shown_.value(kind);
    if (shown >= times) continue;
    missing
        << QStringLiteral("%1: opened %2 times, shown %3 times").arg(kind).arg(times).arg(shown);
  }
  return missing;
}

QStringList Road::missingAtAlert() const {
  QStringList missing;
  if (refused_ == 0) missing << QStringLiteral("the service has refused nothing");
  if (alerts_ < refused_) {
    missing << QStringLiteral("%1 alerts for %2 refusals").arg(alerts_).arg(refused_);
  }
  if (!deliveries_.isEmpty()) missing << QStringLiteral("a notification that nobody expected");
  return missing;
}

QString Road::summary() const {
  return QStringLiteral("road: %1 beacons reported, %2 notifications, %3 opened, %4 confirmed")
      .arg(grantedBeacons().size())
      .arg(sum(&Delivery::posted))
      .arg(sum(&Delivery::opened))
      .arg(sum(&Delivery::confirmed));
}

QSet<QString> beaconsOfWalk(const QString& file) {
  QSet<QString> names;
  if (file.isEmpty()) return names;
  QFile walk(file);
  if (!walk.open(QIODevice::ReadOnly)) return names;
  while (!walk.atEnd()) {
    const QJsonValue beacon = QJsonDocument::fromJson(walk.readLine()).object()["beacon"];
    if (!beacon.isObject()) continue;
    names.insert(beaconName(beacon["major"].toInt(), beacon["minor"].toInt()));
  }
  return names;
}

}  // namespace demo
