// Calls over D-Bus that never wait for their answer.
#pragma once

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QObject>
#include <QString>
#include <QVariantList>
#include <functional>
#include <utility>

namespace korvani::qt {

inline QDBusMessage newCall(const QString& service, const QString& path, const QString& interface,
                            const QString& method, const QVariantList& arguments = {}) {
  auto call = QDBusMessage::createMethodCall(service, path, interface, method);
  call.setArguments(arguments);
  return call;
}

/// To the bus itself.
inline QDBusMessage newBusCall(const QString& method, const QVariantList& arguments = {}) {
  const QString bus = QStringLiteral("org.freedesktop.DBus");
  return newCall(bus, QStringLiteral("/org/freedesktop/DBus"), bus, method, arguments);
}

/// The answer, which may be an error, comes to the thread of `receiver` as long as that lives.
inline void call(const QDBusConnection& bus, const QDBusMessage& message, QObject* receiver,
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

inline bool isError(const QDBusMessage& answer) {
  return answer.type() == QDBusMessage::ErrorMessage;
}

}  // namespace korvani::qt
