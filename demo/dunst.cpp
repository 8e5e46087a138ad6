// Short calls to a service of this machine, so they wait for the answer.
#include "dunst.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>

namespace demo {
namespace {

const QString kDunst = QStringLiteral("org.dunstproject.cmd0");

QVariant call(const QString& interface, const char* method, const QVariantList& arguments) {
  auto message = QDBusMessage::createMethodCall(
      "org.freedesktop.Notifications", "/org/freedesktop/Notifications", interface, method);
  message.setArguments(arguments);
  const auto answer = QDBusConnection::sessionBus().call(message);
  return answer.arguments().value(0);
}

QVariant property(const char* name) {
  const QVariant found = call("org.freedesktop.DBus.Properties", "Get", {kDunst, name});
  return found.value<QDBusVariant>().variant();
}

}  // namespace

void Dunst::setHeld(bool held) {
  call("org.freedesktop.DBus.Properties", "Set",
       {kDunst, "paused", QVariant::fromValue(QDBusVariant(held))});
}

bool Dunst::isHeld() { return property("paused").toBool(); }

bool Dunst::showsSomething() const { return property("displayedLength").toUInt() > 0; }

void Dunst::open() { call(kDunst, "NotificationAction", {0U}); }

}  // namespace demo
