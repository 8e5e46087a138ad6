// Follows UPower's display device, the sum of all batteries.
#include <korvani/qt/battery.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusServiceWatcher>
#include <algorithm>
#include <utility>

namespace korvani::qt {

namespace {

const QString kService = QStringLiteral("org.freedesktop.UPower");
const QString kPath = QStringLiteral("/org/freedesktop/UPower/devices/DisplayDevice");
const QString kDevice = QStringLiteral("org.freedesktop.UPower.Device");
const QString kProperties = QStringLiteral("org.freedesktop.DBus.Properties");

}  // namespace

void Battery::setMonitored(bool monitored) {
  monitored_ = monitored;
  level_ = -1;
  if (!monitored || !QDBusConnection::systemBus().isConnected()) return;
  subscribe();
  read();
}

void Battery::subscribe() {
  if (std::exchange(subscribed_, true)) return;
  auto bus = QDBusConnection::systemBus();
  bus.connect(kService, kPath, kProperties, QStringLiteral("PropertiesChanged"), this,
              SLOT(propertiesChanged(QString, QVariantMap, QStringList)));
  auto* watcher = new QDBusServiceWatcher(
      kService, bus,
      QDBusServiceWatcher::WatchForRegistration | QDBusServiceWatcher::WatchForUnregistration,
      this);
  connect(watcher, &QDBusServiceWatcher::serviceRegistered, this, [this] { read(); });
  connect(watcher, &QDBusServiceWatcher::serviceUnregistered, this, [this] { level_ = -1; });
}

void Battery::read() {
  if (!monitored_) return;
  auto message =
      QDBusMessage::createMethodCall(kService, kPath, kProperties, QStringLiteral("GetAll"));
  message.setArguments({kDevice});
  auto* watcher =
      new QDBusPendingCallWatcher(QDBusConnection::systemBus().asyncCall(message), this);
  connect(watcher, &QDBusPendingCallWatcher::finished, this,
          [this](QDBusPendingCallWatcher* finished) {
            const QDBusPendingReply<QVariantMap> reply = *finished;
            if (!reply.isError()) take(reply.value());
            finished->deleteLater();
          });
}

void Battery::propertiesChanged(const QString& interface, const QVariantMap& changed,
                                const QStringList&) {
  if (interface == kDevice) take(changed);
}

void Battery::take(const QVariantMap& properties) {
  isPresent_ = properties.value(QStringLiteral("IsPresent"), isPresent_).toBool();
  percentage_ = properties.value(QStringLiteral("Percentage"), percentage_).toDouble();
  const bool isKnown = monitored_ && isPresent_;
  level_ = isKnown ? static_cast<float>(std::clamp(percentage_, 0.0, 100.0) / 100) : -1.0F;
}

}  // namespace korvani::qt
