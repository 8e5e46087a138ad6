// The road of each beacon, from its report to the confirmed opening: what the service has logged
// and what the phone has seen, told step by step and held against each other at the end.
#pragma once

#include <korvani/platform/value.h>

#include <QJsonObject>
#include <QMap>
#include <QSet>
#include <QString>
#include <QStringList>
#include <functional>

namespace demo {

class Road {
 public:
  /// Told of each step as it happens.
  using Tell = std::function<void(const QString& what, const QString& which)>;

  /// `beacons` are those that the walk passes, as "major/minor"; empty where nobody knows. With a
  /// key that is not the service's the road ends at an alert.
  Road(QSet<QString> beacons, bool keyIsKnown, Tell tell);

  /// One request, as the service's log has it.
  void requestLogged(const QJsonObject& request);
  // What the kit asked the phone for, and what the user did.
  void notificationPosted(const QString& text, const korvani::platform::Value& userInfo);
  void notificationOpened(const korvani::platform::Value& userInfo);
  void alertShown(const QString& message);
  void uriAsked(const QString& uri, bool opened);
  /// What is shown over the shop now: "image pop-up", "web pop-up …", "pushed page …" or nothing.
  void screenShown(const QString& name);

  int posted() const { return sum(&Delivery::posted); }
  int opened() const { return sum(&Delivery::opened); }
  /// What is not as it should be at the end of the road; nothing when all is.
  QStringList missing() const;
  /// "road: 3 beacons reported, 3 notifications, 3 opened, 3 confirmed".
  QString summary() const;

 private:
  /// One scenario that the service granted, by its "scenario_history_id".
  struct Delivery {
    QString beacon;
    QString type;
    int granted = 0;
    int posted = 0;
    int opened = 0;
    int confirmed = 0;
  };

  void scenarioLogged(const QJsonObject& parameters, const QJsonObject& answer);
  void confirmLogged(const QJsonObject& parameters, const QJsonObject& answer);
  QSet<QString> grantedBeacons() const;
  int sum(int Delivery::*count) const;
  QStringList missingOnRoad() const;
  QStringList missingContent() const;
  QStringList missingAtAlert() const;

  const QSet<QString> beacons_;
  const bool keyIsKnown_;
  const Tell tell_;
  QSet<QString> reported_;
  QMap<QString, Delivery> deliveries_;
  QString screen_;
  /// How often content of each type has been shown.
  QMap<QString, int> shown_;
  int refused_ = 0;
  int alerts_ = 0;
};

/// The beacons that a walk file passes, as "major/minor".
QSet<QString> beaconsOfWalk(const QString& file);

}  // namespace demo
