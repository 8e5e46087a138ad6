// What the services have in common: each has a name on the session bus.
#include <korvani/qt/bus_call.h>
#include <korvani/qt/notifications/service.h>

#include <QDBusConnection>
#include <QGuiApplication>
#include <utility>

namespace korvani::qt::notifications {

void Service::listen(Listener listener) {
  listener_ = std::move(listener);
  const auto bus = QDBusConnection::sessionBus();
  if (!bus.isConnected()) return;
  followService(bus, busName_, this, [this](const QString& owner) {
    if (!owner.isEmpty()) listener_.arrived();
  });
  subscribe();
}

QString hostName() { return QGuiApplication::applicationDisplayName(); }

QString desktopEntry() {
  QString name = QGuiApplication::desktopFileName();
  const QString ending = QStringLiteral(".desktop");
  if (name.endsWith(ending)) name.chop(ending.size());
  return name;
}

}  // namespace korvani::qt::notifications
