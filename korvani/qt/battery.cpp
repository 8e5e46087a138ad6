// Follows UPower's display device, the sum of all batteries.
#include <korvani/qt/battery.h>
#include <korvani/qt/bus_call.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingReply>
#include <algorithm>
#include <cmath>
#include <utility>

namespace korvani::qt {

namespace {

const QString kService = QStringLiteral("org.freedesktop.UPower");
const QString kPath = QStringLiteral("/org/freedesktop/UPower/devices/DisplayDevice");
const QString kDevice = QStringLiteral("org.freedesktop.UPower.Device");
const QString kProperties = QStringLiteral("org.freedesktop.DBus.Properties");
const QString kIsPresent = QStringLiteral("IsPresent");
const QString kPercentage = QStringLiteral("Percentage");

}  // namespace

void Battery::setMonitored(bool monitored) {
  if (std::exchange(monitored_, monitored) == monitored) return;
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
  followService(bus, kService, this, [this](const QString& owner) {
    level_ = -1;
    if (!owner.isEmpty()) read();
  });
}

void Battery::read() {
  if (!monitored_) return;
  call(QDBusConnection::systemBus(),
       newCall(kService, kPath, kProperties, QStringLiteral("GetAll"), {kDevice}), this,
       [this](const QDBusPendingReply<QVariantMap>& reply) {
         if (!reply.isError()) take(reply.value());
       });
}

void Battery::propertiesChanged(const QString& interface, const QVariantMap& changed,
                                const QStringList& invalidated) {
  if (interface != kDevice) return;
  take(changed);
  if (invalidated.contains(kIsPresent) || invalidated.contains(kPercentage)) read();
}

void Battery::take(const QVariantMap& properties) {
  isPresent_ = properties.value(kIsPresent, isPresent_).toBool();
  percentage_ = properties.value(kPercentage, percentage_).toDouble();
  const bool isKnown = monitored_ && isPresent_ && std::isfinite(percentage_);
  level_ = isKnown ? static_cast<float>(std::clamp(percentage_, 0.0, 100.0) / 100) : -1.0F;
}

}  // namespace korvani::qt
