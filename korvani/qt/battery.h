// The battery as UPower tells it, over D-Bus.
#pragma once

#include <QObject>
#include <QString>
#include <QStringList>
#include <QVariantMap>

namespace korvani::qt {

/// Main thread; nothing here waits for the service.
class Battery final : public QObject {
  Q_OBJECT

 public:
  void setMonitored(bool monitored);
  /// 0 to 1; -1 while it is not monitored, has not answered yet, or there is none.
  float level() const { return level_; }

 private:
  void subscribe();
  void read();
  void take(const QVariantMap& properties);

  Q_SLOT void propertiesChanged(const QString& interface, const QVariantMap& changed,
                                const QStringList& invalidated);

  bool subscribed_ = false;
  bool monitored_ = false;
  bool isPresent_ = false;
  double percentage_ = 0;
  float level_ = -1;
};

}  // namespace korvani::qt
