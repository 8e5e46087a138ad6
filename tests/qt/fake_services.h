// Services of the test's own, which answer calls in this process.
#pragma once

#include <korvani/qt/bus_call.h>

#include <QDBusConnection>
#include <QDBusError>
#include <QDBusMessage>
#include <QDBusVirtualObject>
#include <QHash>
#include <functional>

namespace korvani::qt {

/// On a connection of its own to the private bus; each object has every method that has an answer.
/// An answer that is no value is an error.
class FakeServices final : public QDBusVirtualObject {
 public:
  using Answer = std::function<QVariant(const QDBusMessage& call)>;

  explicit FakeServices(const QString& connection = QStringLiteral("fakes"))
      : bus_(QDBusConnection::connectToBus(
            QString::fromLocal8Bit(qgetenv("DBUS_SESSION_BUS_ADDRESS")), connection)) {
    bus_.registerVirtualObject(QStringLiteral("/"), this, QDBusConnection::SubPath);
  }
  ~FakeServices() override { QDBusConnection::disconnectFromBus(bus_.name()); }

  void enter(const QString& service) { bus_.registerService(service); }
  void leave(const QString& service) { bus_.unregisterService(service); }
  void tell(const QString& path, const QString& interface, const char* name,
            const QVariantList& arguments) {
    auto signal = QDBusMessage::createSignal(path, interface, QString::fromLatin1(name));
    signal.setArguments(arguments);
    bus_.send(signal);
  }
  /// Returns when the bus has passed on what was told so far.
  void settle() { bus_.call(newBusCall(QStringLiteral("GetId"))); }

  QHash<QString, Answer> answers;
  QDBusError::ErrorType error = QDBusError::Failed;
  QHash<QString, int> calls;

  QString introspect(const QString&) const override { return {}; }
  bool handleMessage(const QDBusMessage& call, const QDBusConnection& bus) override {
    if (!answers.contains(call.member())) return false;
    ++calls[call.member()];
    const QVariant answer = answers[call.member()](call);
    return bus.send(answer.isValid() ? call.createReply(answer)
                                     : call.createErrorReply(error, QString()));
  }

 private:
  QDBusConnection bus_;
};

}  // namespace korvani::qt
