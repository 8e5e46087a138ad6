// Tells that the display has been turned on: the session is unlocked, in use again, or its screen
// saver has ended.
#pragma once

#include <QDBusConnection>
#include <QObject>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QVariantMap>
#include <functional>

class QDBusMessage;

namespace korvani::qt {

/// Main thread; nothing here waits for a service. The display counts as off while the session is
/// locked or idle, or a screen saver is active; what is on at the start is not told. A service
/// that goes takes its reasons along, which turns nothing on.
class Display final : public QObject {
  Q_OBJECT

 public:
  explicit Display(std::function<void()> turnedOn);

 private:
  /// Reads now, and anew from each further owner of the service.
  void follow(const QDBusConnection& bus, const QString& service, const QStringList& reasons,
              std::function<void()> read);
  void findSession();
  void watchSession(const QString& path);
  void readSession();
  void readSaver(const QString& service, const QString& path);
  void takeHints(const QVariantMap& properties);
  /// By reason, whether it holds now.
  void take(const QVariantMap& states);

  Q_SLOT void sessionChanged(const QString& interface, const QVariantMap& changed,
                             const QStringList& invalidated);
  Q_SLOT void saverChanged(const QDBusMessage& signal);

  const std::function<void()> turnedOn_;
  /// The session's object path; empty while it is not known.
  QString session_;
  /// Why the display is off: the names of hints and savers.
  QSet<QString> reasons_;
};

}  // namespace korvani::qt
