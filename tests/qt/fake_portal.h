// The notification portal of a sandbox, in the process of the test.
#pragma once

#include <gtest/gtest.h>
#include <korvani/qt/bus_call.h>

#include <QDBusArgument>
#include <QDBusPendingCall>
#include <QDBusVariant>
#include <QStringList>
#include <QVariantMap>
#include <vector>

#include "fake_services.h"

namespace korvani::qt {

/// It plays no sound that comes as a file: a notification with one is refused.
class FakePortal {
 public:
  /// The host whose notifications it shows.
  static inline const QString kHost = QStringLiteral("org.example.Shop");

  FakePortal() {
    services_.answers["Get"] = [this](const QDBusMessage&) {
      return QVariant::fromValue(QDBusVariant(version));
    };
    services_.answers["AddNotification"] = [this](const QDBusMessage& call) {
      id = call.arguments().value(0).toString();
      added.push_back(qdbus_cast<QVariantMap>(call.arguments().value(1)));
      const bool plays = added.back().value("sound").typeId() != qMetaTypeId<QDBusArgument>();
      return plays ? QVariant(true) : QVariant();
    };
    services_.answers["RemoveNotification"] = [this](const QDBusMessage& call) {
      removed.push_back(call.arguments().value(0).toString());
      return true;
    };
    services_.enter("org.freedesktop.portal.Desktop");
  }
  /// Opens the last as the portal does it for an application that is not on the bus by its name.
  void tellAction() {
    services_.tell(
        "/org/freedesktop/portal/desktop", "org.freedesktop.portal.Notification", "ActionInvoked",
        {id, added.back().value("default-action"), QVariant::fromValue(QVariantList{id})});
  }
  /// Opens the last as it does for one that is, or that the bus can start.
  void activateAction() {
    const QString action = added.back().value("default-action").toString();
    ASSERT_TRUE(action.startsWith("app."));
    callHost("ActivateAction",
             {action.mid(4), QVariantList{id}, QVariantMap{{"desktop-startup-id", "token"}}});
  }
  static void callHost(const QString& method, const QVariantList& arguments) {
    QDBusConnection::sessionBus().asyncCall(
        newCall(kHost, "/org/example/Shop", "org.freedesktop.Application", method, arguments));
  }

  uint version = 1;
  QString id;
  std::vector<QVariantMap> added;
  QStringList removed;

 private:
  FakeServices services_;
};

}  // namespace korvani::qt
