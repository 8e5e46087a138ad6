// The battery as UPower tells it, over D-Bus.
#pragma once

#include <korvani/qt/bus_signal.h>

#include <QObject>
#include <QString>
#include <QVariantMap>
#include <optional>

namespace korvani::qt {

/// Main thread; nothing here waits for the service.
class Battery final : public QObject {
 public:
  void setMonitored(bool monitored);
  /// 0 to 1; -1 while it is not monitored, has not answered yet, or there is none.
  float level() const { return level_; }

 private:
  void subscribe();
  void read();
  void take(const QVariantMap& properties);
  void propertiesChanged(const QDBusMessage& signal);

  std::optional<BusSignal> changes_;
  /// Of the service's name; empty while there is none.
  QString owner_;
  bool monitored_ = false;
  bool isPresent_ = false;
  double percentage_ = 0;
  float level_ = -1;
};

}  // namespace korvani::qt
