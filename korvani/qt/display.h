// Tells that the display has been turned on: the session is unlocked, in use again, or its screen
// saver has ended.
#pragma once

#include <korvani/qt/bus_signal.h>

#include <QDBusConnection>
#include <QHash>
#include <QObject>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QVariantMap>
#include <functional>
#include <memory>
#include <optional>
#include <vector>

class QDBusMessage;

namespace korvani::qt {

/// Main thread; nothing here waits for a service. The display counts as off while the session is
/// locked or idle, or a screen saver is active; what is on at the start is not told. A service
/// that goes takes its reasons along, which turns nothing on.
class Display final : public QObject {
 public:
  explicit Display(std::function<void()> turnedOn);

 private:
  /// Reads from each owner of the service.
  void follow(const QDBusConnection& bus, const QString& service, const QStringList& reasons,
              std::function<void()> read);
  void findSession();
  void watchSession(const QString& path);
  void readSession();
  void readSaver(const QString& service, const QString& path);
  void takeHints(const QVariantMap& properties);
  /// By reason, whether it holds now.
  void take(const QVariantMap& states);

  void sessionChanged(const QDBusMessage& signal);
  void saverChanged(const QDBusMessage& signal);

  const std::function<void()> turnedOn_;
  std::vector<std::unique_ptr<BusSignal>> savers_;
  std::optional<BusSignal> hints_;
  /// By service, who owns its name on the bus: others' signals say nothing.
  QHash<QString, QString> owners_;
  /// The session's object path; empty while it is not known.
  QString session_;
  /// Why the display is off: the names of hints and savers.
  QSet<QString> reasons_;
};

}  // namespace korvani::qt
