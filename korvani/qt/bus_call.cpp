// An object for each call, which goes with the answer or with the receiver.
#include <korvani/qt/bus_call.h>

#include <QDBusError>
#include <QDBusServiceWatcher>
#include <QObject>
#include <memory>
#include <utility>

namespace korvani::qt {

namespace {

/// Told of the answer in the order in which the bus sent it, and once: Qt's own watcher tells an
/// answer that came before the watcher was made after signals that came later, or tells it twice.
class AwaitedAnswer final : public QObject {
  Q_OBJECT

 public:
  using Answered = std::function<void(const QDBusMessage& answer)>;

  AwaitedAnswer(QObject* receiver, Answered answered)
      : QObject(receiver), answered_(std::move(answered)) {}

  Q_SLOT void receive(const QDBusMessage& answer) {
    deleteLater();
    // The receiver may go meanwhile, and this with it.
    const Answered answered = std::move(answered_);
    answered(answer);
  }
  Q_SLOT void fail(const QDBusError& error) { receive(QDBusMessage::createError(error)); }

 private:
  Answered answered_;
};

}  // namespace

QDBusMessage newCall(const QString& service, const QString& path, const QString& interface,
                     const QString& method, const QVariantList& arguments) {
  auto message = QDBusMessage::createMethodCall(service, path, interface, method);
  message.setArguments(arguments);
  return message;
}

QDBusMessage newQuietCall(const QString& service, const QString& path, const QString& interface,
                          const QString& method, const QVariantList& arguments) {
  auto message = newCall(service, path, interface, method, arguments);
  message.setAutoStartService(false);
  return message;
}

QDBusMessage newBusCall(const QString& method, const QVariantList& arguments) {
  const QString bus = QStringLiteral("org.freedesktop.DBus");
  return newCall(bus, QStringLiteral("/org/freedesktop/DBus"), bus, method, arguments);
}

void call(const QDBusConnection& bus, const QDBusMessage& message, QObject* receiver,
          std::function<void(const QDBusMessage& answer)> answered) {
  auto* const awaited = new AwaitedAnswer(receiver, std::move(answered));
  // Without a connection Qt would answer nothing at all.
  if (bus.isConnected() &&
      bus.callWithCallback(message, awaited, SLOT(receive(QDBusMessage)), SLOT(fail(QDBusError)))) {
    return;
  }
  QMetaObject::invokeMethod(
      awaited, [awaited] { awaited->fail(QDBusError(QDBusError::Disconnected, QString())); },
      Qt::QueuedConnection);
}

bool isError(const QDBusMessage& answer) { return answer.type() == QDBusMessage::ErrorMessage; }

void followService(const QDBusConnection& bus, const QString& service, QObject* receiver,
                   std::function<void(const QString& owner)> ownerChanged) {
  auto* watcher =
      new QDBusServiceWatcher(service, bus, QDBusServiceWatcher::WatchForOwnerChange, receiver);
  QObject::connect(
      watcher, &QDBusServiceWatcher::serviceOwnerChanged, receiver,
      [ownerChanged = std::move(ownerChanged)](const QString&, const QString&,
                                               const QString& owner) { ownerChanged(owner); });
}

void findService(const QDBusConnection& bus, const QString& service, QObject* receiver,
                 std::function<void(const QString& owner)> found) {
  const auto isTold = std::make_shared<bool>(false);
  followService(bus, service, receiver, [found, isTold](const QString& owner) {
    *isTold = true;
    found(owner);
  });
  call(bus, newBusCall(QStringLiteral("GetNameOwner"), {service}), receiver,
       [found, isTold](const QDBusMessage& answer) {
         // What was signalled meanwhile is newer.
         if (*isTold) return;
         found(isError(answer) ? QString() : answer.arguments().value(0).toString());
       });
}

}  // namespace korvani::qt

#include "bus_call.moc"
