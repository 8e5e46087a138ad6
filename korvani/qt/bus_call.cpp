// A watcher for each call, which goes with the answer or with the receiver.
#include <korvani/qt/bus_call.h>

#include <QDBusError>
#include <QDBusPendingCallWatcher>
#include <QDBusServiceWatcher>
#include <QObject>
#include <memory>
#include <utility>

namespace korvani::qt {

QDBusMessage newCall(const QString& service, const QString& path, const QString& interface,
                     const QString& method, const QVariantList& arguments) {
  auto message = QDBusMessage::createMethodCall(service, path, interface, method);
  message.setArguments(arguments);
  return message;
}

QDBusMessage newQuietCall(const QString& service, const QString& path, const QString& interface,
                          const QString& method, const QVariantList& arguments) {
  auto message = newCall(service, path, interface, method, arguments);
  message.setAutoStartService(false);
  return message;
}

QDBusMessage newBusCall(const QString& method, const QVariantList& arguments) {
  const QString bus = QStringLiteral("org.freedesktop.DBus");
  return newCall(bus, QStringLiteral("/org/freedesktop/DBus"), bus, method, arguments);
}

void call(const QDBusConnection& bus, const QDBusMessage& message, QObject* receiver,
          std::function<void(const QDBusMessage& answer)> answered) {
  // Without a connection Qt would answer nothing at all.
  const auto pending =
      bus.isConnected()
          ? bus.asyncCall(message)
          : QDBusPendingCall::fromError(QDBusError(QDBusError::Disconnected, QString()));
  auto* watcher = new QDBusPendingCallWatcher(pending, receiver);
  QObject::connect(watcher, &QDBusPendingCallWatcher::finished, receiver,
                   [answered = std::move(answered)](QDBusPendingCallWatcher* finished) {
                     finished->deleteLater();
                     answered(finished->reply());
                   });
}

bool isError(const QDBusMessage& answer) { return answer.type() == QDBusMessage::ErrorMessage; }

void followService(const QDBusConnection& bus, const QString& service, QObject* receiver,
                   std::function<void(const QString& owner)> ownerChanged) {
  auto* watcher =
      new QDBusServiceWatcher(service, bus, QDBusServiceWatcher::WatchForOwnerChange, receiver);
  QObject::connect(
      watcher, &QDBusServiceWatcher::serviceOwnerChanged, receiver,
      [ownerChanged = std::move(ownerChanged)](const QString&, const QString&,
                                               const QString& owner) { ownerChanged(owner); });
}

void findService(const QDBusConnection& bus, const QString& service, QObject* receiver,
                 std::function<void(const QString& owner)> found) {
  const auto isTold = std::make_shared<bool>(false);
  followService(bus, service, receiver, [found, isTold](const QString& owner) {
    *isTold = true;
    found(owner);
  });
  call(bus, newBusCall(QStringLiteral("GetNameOwner"), {service}), receiver,
       [found, isTold](const QDBusMessage& answer) {
         // What was signalled meanwhile is newer.
         if (*isTold) return;
         found(isError(answer) ? QString() : answer.arguments().value(0).toString());
       });
}

}  // namespace korvani::qt
