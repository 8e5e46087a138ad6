// A subscription to a signal of the bus.
#pragma once

#include <QDBusConnection>
#include <QDBusMessage>
#include <QObject>
#include <QString>
#include <QStringList>
#include <functional>

namespace korvani::qt {

/// As long as it lives, on the thread that made it. Whoever sends may be anyone, so look at the
/// sender: for the signals of one name Qt would ask the bus who owns it, and wait. An empty path
/// stands for all.
class BusSignal final : public QObject {
  Q_OBJECT

 public:
  using Came = std::function<void(const QDBusMessage& signal)>;

  /// `firstArgument`: only signals that begin with this text.
  BusSignal(const QDBusConnection& bus, const QString& path, const QString& interface,
            const QString& name, const QString& firstArgument, Came came);
  ~BusSignal() override;

 private:
  Q_SLOT void receive(const QDBusMessage& signal) { came_(signal); }

  QDBusConnection bus_;
  const QString path_;
  const QString interface_;
  const QString name_;
  const QStringList arguments_;
  const Came came_;
};

}  // namespace korvani::qt
