// A D-Bus bus of the test's own, with mock services on it.
#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusServiceWatcher>
#include <QFile>
#include <QProcess>
#include <QStringList>
#include <QTemporaryDir>
#include <memory>

#include "waiting.h"

namespace korvani::qt {

/// Stands for both the session bus and the system bus of this process; made before either is used.
/// Nothing that the machine has installed is started on it.
class PrivateBus {
 public:
  PrivateBus() {
    const QString config = folder_.filePath(QStringLiteral("bus.conf"));
    write(config, QStringLiteral("<busconfig><type>session</type><listen>unix:path=%1/bus</listen>"
                                 "<servicedir>%1</servicedir><policy context='default'>"
                                 "<allow send_destination='*' eavesdrop='true'/>"
                                 "<allow eavesdrop='true'/><allow own='*'/></policy></busconfig>")
                      .arg(folder_.path()));
    daemon_.start(QStringLiteral("dbus-daemon"),
                  {QStringLiteral("--config-file=") + config, QStringLiteral("--nofork"),
                   QStringLiteral("--print-address")});
    daemon_.waitForReadyRead(-1);
    const QByteArray address = daemon_.readLine().trimmed();
    qputenv("DBUS_SESSION_BUS_ADDRESS", address);
    qputenv("DBUS_SYSTEM_BUS_ADDRESS", address);
  }
  ~PrivateBus() {
    daemon_.kill();
    daemon_.waitForFinished(-1);
  }

  /// From now on the bus starts this for the service of that name.
  void setStarted(const QString& service, const QString& command) {
    write(folder_.filePath(service + QStringLiteral(".service")),
          QStringLiteral("[D-BUS Service]\nName=%1\nExec=%2\n").arg(service, command));
  }

 private:
  static void write(const QString& file, const QString& text) {
    QFile writing(file);
    if (!writing.open(QIODevice::WriteOnly)) qFatal("%s", qUtf8Printable(file));
    writing.write(text.toUtf8());
  }

  const QTemporaryDir folder_;
  QProcess daemon_;
};

/// A mock service, there from construction to destruction.
class MockService {
 public:
  MockService(const QString& name, const QString& path, const QStringList& arguments)
      : name_(name), path_(path) {
    auto bus = QDBusConnection::sessionBus();
    QDBusServiceWatcher watcher(name, bus, QDBusServiceWatcher::WatchForRegistration);
    bool isThere = false;
    QObject::connect(&watcher, &QDBusServiceWatcher::serviceRegistered, [&] { isThere = true; });
    process_.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    process_.start(QStringLiteral("/usr/bin/python3"),
                   QStringList{QStringLiteral("-m"), QStringLiteral("dbusmock")} + arguments);
    runUntil([&] { return isThere; });
  }
  ~MockService() {
    process_.kill();
    process_.waitForFinished(-1);
  }

  /// Waits for the next call of that method and returns its arguments as the service writes them.
  QByteArray nextCall(const QByteArray& method) {
    QByteArray arguments;
    runUntil([&] {
      while (arguments.isEmpty() && process_.canReadLine()) {
        // "1700000000.123 Method arguments"
        const QByteArray line = process_.readLine().trimmed();
        const qsizetype start = line.indexOf(' ') + 1;
        if (line.mid(start).startsWith(method)) arguments = line.mid(start + method.size() + 1);
      }
      return !arguments.isEmpty();
    });
    return arguments;
  }

  /// Has the service do what its mock interface offers.
  void mock(const QString& method, const QVariantList& arguments) {
    auto message = QDBusMessage::createMethodCall(
        name_, path_, QStringLiteral("org.freedesktop.DBus.Mock"), method);
    message.setArguments(arguments);
    QDBusConnection::sessionBus().call(message);
  }

 private:
  const QString name_;
  const QString path_;
  QProcess process_;
};

}  // namespace korvani::qt
