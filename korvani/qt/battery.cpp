// Follows UPower's display device, the sum of all batteries.
#include <korvani/qt/battery.h>
#include <korvani/qt/bus_call.h>

#include <QDBusArgument>
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
  if (changes_) return;
  const auto bus = QDBusConnection::systemBus();
  changes_.emplace(bus, kPath, kProperties, QStringLiteral("PropertiesChanged"), kDevice,
                   [this](const QDBusMessage& signal) { propertiesChanged(signal); });
  findService(bus, kService, this, [this](const QString& owner) {
    owner_ = owner;
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

void Battery::propertiesChanged(const QDBusMessage& signal) {
  if (signal.service() != owner_ || signal.signature() != QLatin1String("sa{sv}as")) return;
  const QVariantList arguments = signal.arguments();
  const QStringList invalidated = arguments[2].toStringList();
  take(qdbus_cast<QVariantMap>(arguments[1]));
  if (invalidated.contains(kIsPresent) || invalidated.contains(kPercentage)) read();
}

void Battery::take(const QVariantMap& properties) {
  isPresent_ = properties.value(kIsPresent, isPresent_).toBool();
  percentage_ = properties.value(kPercentage, percentage_).toDouble();
  const bool isKnown = monitored_ && isPresent_ && std::isfinite(percentage_);
  level_ = isKnown ? static_cast<float>(std::clamp(percentage_, 0.0, 100.0) / 100) : -1.0F;
}

}  // namespace korvani::qt
