// Answers the daemon by hand: three interfaces of a handful of methods.
#include <korvani/location/advertisement.h>
#include <korvani/qt/bluetooth/presence_monitor.h>

#include <QByteArray>
#include <QDBusArgument>
#include <QDBusMetaType>
#include <QDBusObjectPath>
#include <QDBusVariant>
#include <QList>
#include <QMap>
#include <utility>

namespace korvani::qt::bluetooth {

/// Bytes that a structure of the advertisement of this type has at this place.
struct Pattern {
  uchar start = 0;
  uchar type = 0xFF;
  QByteArray bytes;
};

QDBusArgument& operator<<(QDBusArgument& argument, const Pattern& pattern) {
  argument.beginStructure();
  argument << pattern.start << pattern.type << pattern.bytes;
  argument.endStructure();
  return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, Pattern& pattern) {
  argument.beginStructure();
  argument >> pattern.start >> pattern.type >> pattern.bytes;
  argument.endStructure();
  return argument;
}

namespace {

using Interfaces = QMap<QString, QVariantMap>;
using Objects = QMap<QDBusObjectPath, Interfaces>;

const QString kRoot = QStringLiteral("/korvani/presence");

/// The beginning of an iBeacon of that UUID.
QByteArray beginningOf(const platform::Uuid& uuid) {
  QByteArray bytes = QByteArray::fromHex("4c000215");
  for (const std::uint8_t byte : uuid.bytes()) bytes.append(static_cast<char>(byte));
  return bytes;
}

}  // namespace

PresenceMonitor::PresenceMonitor(const QDBusConnection& bus, const Settings& settings, Told told)
    : bus_(bus), told_(std::move(told)), backoff_(settings) {
  qDBusRegisterMetaType<Pattern>();
  qDBusRegisterMetaType<QList<Pattern>>();
  qDBusRegisterMetaType<Interfaces>();
  qDBusRegisterMetaType<Objects>();
  retry_.setSingleShot(true);
  connect(&retry_, &QTimer::timeout, this, [this] { begin(); });
  activation_.setSingleShot(true);
  activation_.setInterval(settings.activationWithin);
  connect(&activation_, &QTimer::timeout, this,
          [this] { failed(QStringLiteral("it was not activated")); });
}

PresenceMonitor::~PresenceMonitor() {
  end();
  if (isOnBus_) bus_.unregisterObject(kRoot, QDBusConnection::UnregisterTree);
}

void PresenceMonitor::watchFor(const std::optional<Wanted>& wanted) {
  if (wanted == wanted_) return;
  end();
  wanted_ = wanted;
  retry_.stop();
  backoff_.reset();
  complaints_.forget();
  if (wanted_) begin();
}

void PresenceMonitor::begin() {
  if (!std::exchange(isOnBus_, true)) {
    bus_.registerVirtualObject(kRoot, this, QDBusConnection::SubPath);
  }
  application_ = QStringLiteral("%1/%2").arg(kRoot).arg(++number_);
  monitor_ = application_ + QStringLiteral("/monitor");
  isRegistered_ = true;
  activation_.start();
  call(bus_, wanted_->adapter, kMonitorManager, QStringLiteral("RegisterMonitor"),
       {QVariant::fromValue(QDBusObjectPath(application_))}, this,
       [this, number = number_](const QDBusMessage& answer) {
         if (number == number_ && isRegistered_ && isError(answer)) failed(textOf(answer));
       });
}

void PresenceMonitor::end() {
  activation_.stop();
  if (std::exchange(isRegistered_, false)) {
    tell(bus_, wanted_->adapter, kMonitorManager, QStringLiteral("UnregisterMonitor"),
         {QVariant::fromValue(QDBusObjectPath(application_))});
  }
  application_.clear();
  monitor_.clear();
  isActive_ = false;
}

void PresenceMonitor::failed(const QString& why) {
  complaints_.say(QStringLiteral("no monitor, discovery takes its turns instead: %1").arg(why));
  const bool wasActive = isActive_;
  end();
  retry_.start(backoff_.next());
  if (wasActive) told_.changed();
}

QString PresenceMonitor::introspect(const QString&) const { return {}; }

bool PresenceMonitor::handleMessage(const QDBusMessage& message,
                                    const QDBusConnection& connection) {
  if (!wanted_ || message.service() != wanted_->daemon) return false;
  const QString method = message.member();
  if (message.path() == application_ && method == QLatin1String("GetManagedObjects")) {
    const Objects objects{{QDBusObjectPath(monitor_), {{kMonitor, properties()}}}};
    return connection.send(message.createReply(QVariant::fromValue(objects)));
  }
  if (message.path() != monitor_) return false;
  if (message.interface() == kMonitor) {
    if (!handleDaemon(method)) return false;
    if (message.isReplyRequired()) connection.send(message.createReply());
    return true;
  }
  if (message.interface() != kProperties) return false;
  if (method == QLatin1String("GetAll")) {
    return connection.send(message.createReply(properties()));
  }
  const QVariant value = properties().value(message.arguments().value(1).toString());
  if (method != QLatin1String("Get") || !value.isValid()) return false;
  return connection.send(message.createReply(QVariant::fromValue(QDBusVariant(value))));
}

bool PresenceMonitor::handleDaemon(const QString& method) {
  if (method == QLatin1String("Activate")) {
    activation_.stop();
    backoff_.reset();
    if (!std::exchange(isActive_, true)) told_.changed();
  } else if (method == QLatin1String("Release")) {
    failed(QStringLiteral("the daemon released it"));
  } else if (method == QLatin1String("DeviceFound")) {
    told_.found();
  } else {
    // A device that is lost is no exit: who listens counts the seconds.
    return method == QLatin1String("DeviceLost");
  }
  return true;
}

/// Any strength will do: found after a second of it, lost after 30 s of silence.
QVariantMap PresenceMonitor::properties() const {
  const QList<Pattern> patterns{{0, 0xFF, beginningOf(wanted_->uuid)}};
  const auto signal = QVariant::fromValue<short>(-127);
  const auto seconds = [](ushort count) { return QVariant::fromValue(count); };
  return {{QStringLiteral("Type"), QStringLiteral("or_patterns")},
          {QStringLiteral("Patterns"), QVariant::fromValue(patterns)},
          {QStringLiteral("RSSIHighThreshold"), signal},
          {QStringLiteral("RSSIHighTimeout"), seconds(1)},
          {QStringLiteral("RSSILowThreshold"), signal},
          {QStringLiteral("RSSILowTimeout"), seconds(30)},
          {QStringLiteral("RSSISamplingPeriod"), seconds(0)}};
}

}  // namespace korvani::qt::bluetooth
