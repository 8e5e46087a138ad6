// Asks the user for leave to use the position, through the desktop's portal.
#pragma once

#include <QObject>
#include <QString>

class QDBusMessage;

namespace korvani::qt {

/// Main thread; nothing here waits for the portal. Without a portal nobody is asked: then GeoClue
/// asks when updates start.
class LocationPermission final : public QObject {
  Q_OBJECT

 public:
  /// One question at a time: nothing while the last one is open.
  void ask();

 private:
  void watchPortal();
  void start(const QString& session);
  void end();

  Q_SLOT void answered(const QDBusMessage& response);

  bool isOpen_ = false;
  bool isWatching_ = false;
  unsigned questions_ = 0;
  /// Object paths; empty while there is none.
  QString session_;
  QString request_;
};

}  // namespace korvani::qt
