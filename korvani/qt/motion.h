// Whether the user wants things to move on the screen.
#pragma once

#include <korvani/qt/bus_signal.h>

#include <QObject>
#include <QSet>
#include <QString>
#include <QVariant>
#include <optional>

namespace korvani::qt {

/// The settings of the desktop, read from its portal and followed; while there is none, or it has
/// not answered yet, those that Qt's style knows. Main thread; nothing here waits for an answer.
class Motion final : public QObject {
 public:
  /// From now on.
  void follow();

  /// How long a screen slides; 0: it is there at once.
  int slideMilliseconds() const;

 private:
  void read();
  void take(const QString& group, const QString& key, const QVariant& value);
  void settingChanged(const QDBusMessage& signal);

  std::optional<BusSignal> changes_;
  /// Of the portal's name; empty while there is none.
  QString owner_;
  /// The settings that ask for less motion now.
  QSet<QString> reasons_;
};

}  // namespace korvani::qt
