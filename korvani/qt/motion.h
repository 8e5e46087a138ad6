// Whether the user wants things to move on the screen.
#pragma once

#include <QObject>
#include <QSet>
#include <QString>
#include <QVariantMap>

class QDBusMessage;

namespace korvani::qt {

/// The settings of the desktop, read from its portal and followed; while there is none, or it has
/// not answered yet, those that Qt's style knows. Main thread; nothing here waits for the portal.
class Motion final : public QObject {
  Q_OBJECT

 public:
  Motion();

  /// How long a screen slides; 0: it is there at once.
  int slideMilliseconds() const;

 private:
  void read();
  void take(const QString& group, const QString& key, const QVariant& value);

  Q_SLOT void settingChanged(const QDBusMessage& signal);

  /// The settings that ask for less motion now.
  QSet<QString> reasons_;
};

}  // namespace korvani::qt
