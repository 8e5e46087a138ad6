// Receivers of a device's signals that do nothing with them: the least that QtDBus costs.
#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantMap>

namespace korvani::bench {

class BareReceiver final : public QObject {
  Q_OBJECT

 public:
  /// As adapters usually receive it: with its arguments.
  void receiveArguments() { subscribe(SLOT(arguments(QString, QVariantMap, QStringList))); }
  /// As cheaply as can be: the message, of which nothing is read.
  void receiveMessages() { subscribe(SLOT(message(QDBusMessage))); }
  long count() const { return count_; }

 private:
  void subscribe(const char* slot) {
    QDBusConnection::systemBus().connect(
        QString(), QString(), QStringLiteral("org.freedesktop.DBus.Properties"),
        QStringLiteral("PropertiesChanged"), {QStringLiteral("org.bluez.Device1")}, QString(), this,
        slot);
  }
  Q_SLOT void arguments(const QString&, const QVariantMap&, const QStringList&) { ++count_; }
  Q_SLOT void message(const QDBusMessage&) { ++count_; }

  long count_ = 0;
};

}  // namespace korvani::bench
