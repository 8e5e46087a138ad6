// A slot for Qt, which finds it by its name.
#include <korvani/qt/bus_signal.h>

#include <utility>

namespace korvani::qt {

BusSignal::BusSignal(const QDBusConnection& bus, const QString& path, const QString& interface,
                     const QString& name, const QString& firstArgument, Came came)
    : bus_(bus),
      path_(path),
      interface_(interface),
      name_(name),
      arguments_(firstArgument.isEmpty() ? QStringList() : QStringList{firstArgument}),
      came_(std::move(came)) {
  bus_.connect(QString(), path_, interface_, name_, arguments_, QString(), this,
               SLOT(receive(QDBusMessage)));
}

BusSignal::~BusSignal() {
  bus_.disconnect(QString(), path_, interface_, name_, arguments_, QString(), this,
                  SLOT(receive(QDBusMessage)));
}

}  // namespace korvani::qt
