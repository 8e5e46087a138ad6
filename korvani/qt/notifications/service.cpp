// What the services have in common: each has a name on the session bus.
#include <korvani/qt/notifications/service.h>

#include <QDBusConnection>
#include <QGuiApplication>
#include <utility>

namespace korvani::qt::notifications {

void Service::listen(Listener listener) {
  listener_ = std::move(listener);
  const auto bus = QDBusConnection::sessionBus();
  if (!bus.isConnected()) return;
  watcher_ = std::make_unique<QDBusServiceWatcher>(busName_, bus,
                                                   QDBusServiceWatcher::WatchForRegistration);
  QObject::connect(watcher_.get(), &QDBusServiceWatcher::serviceRegistered, this,
                   [this] { listener_.arrived(); });
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
