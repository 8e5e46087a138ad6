// Calls over D-Bus that never wait for their answer, and services that come and go.
#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QString>
#include <QVariantList>
#include <functional>

class QObject;

namespace korvani::qt {

QDBusMessage newCall(const QString& service, const QString& path, const QString& interface,
                     const QString& method, const QVariantList& arguments = {});
/// One that does not start the service.
QDBusMessage newQuietCall(const QString& service, const QString& path, const QString& interface,
                          const QString& method, const QVariantList& arguments = {});
/// To the bus itself.
QDBusMessage newBusCall(const QString& method, const QVariantList& arguments = {});

/// The answer, which may be an error, comes later, to the thread of `receiver` as long as that
/// lives. A QDBusPendingReply as the parameter also tells an answer of another type as an error.
void call(const QDBusConnection& bus, const QDBusMessage& message, QObject* receiver,
          std::function<void(const QDBusMessage& answer)> answered);
bool isError(const QDBusMessage& answer);

/// Tells each new owner of the service's name, empty when it has none, as long as `receiver` lives.
void followService(const QDBusConnection& bus, const QString& service, QObject* receiver,
                   std::function<void(const QString& owner)> ownerChanged);
/// The same, and first the present owner.
void findService(const QDBusConnection& bus, const QString& service, QObject* receiver,
                 std::function<void(const QString& owner)> found);

}  // namespace korvani::qt
