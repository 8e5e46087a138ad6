// Asks the user for leave to use the position, through the desktop's portal.
#pragma once

#include <korvani/qt/bus_signal.h>

#include <QObject>
#include <QString>
#include <optional>

class QDBusMessage;

namespace korvani::qt {

/// Main thread; nothing here waits for the portal. Without a portal nobody is asked: then GeoClue
/// asks when updates start.
class LocationPermission final : public QObject {
 public:
  /// One question at a time: nothing while the last one is open.
  void ask();

 private:
  void watchPortal();
  void start(const QString& session);
  void answered(const QDBusMessage& response);
  void end();

  bool isOpen_ = false;
  unsigned questions_ = 0;
  std::optional<BusSignal> responses_;
  /// Who answers, by the unique name on the bus.
  QString portal_;
  /// Object paths; empty while there is none.
  QString session_;
  QString request_;
};

}  // namespace korvani::qt
