// How the session bus is spoken to: calls that never wait.
#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QObject>
#include <QString>
#include <QVariantList>
#include <functional>
#include <utility>

namespace korvani::qt::notifications {

inline QDBusMessage newCall(const QString& service, const QString& path, const QString& interface,
                            const char* method, const QVariantList& arguments = {}) {
  auto call = QDBusMessage::createMethodCall(service, path, interface, QString::fromLatin1(method));
  call.setArguments(arguments);
  return call;
}

/// To the bus itself.
inline QDBusMessage newBusCall(const char* method, const QVariantList& arguments = {}) {
  return newCall(QStringLiteral("org.freedesktop.DBus"), QStringLiteral("/org/freedesktop/DBus"),
                 QStringLiteral("org.freedesktop.DBus"), method, arguments);
}

/// The answer, which may be an error, comes as long as `receiver` lives.
inline void send(const QDBusMessage& call, QObject* receiver,
                 std::function<void(const QDBusMessage& answer)> answered) {
  auto* watcher =
      new QDBusPendingCallWatcher(QDBusConnection::sessionBus().asyncCall(call), receiver);
  QObject::connect(watcher, &QDBusPendingCallWatcher::finished, receiver,
                   [answered = std::move(answered)](QDBusPendingCallWatcher* finished) {
                     finished->deleteLater();
                     answered(finished->reply());
                   });
}

inline bool isError(const QDBusMessage& answer) {
  return answer.type() == QDBusMessage::ErrorMessage;
}

}  // namespace korvani::qt::notifications
