// Follows the owner of the daemon's name and its tree of objects.
#include <korvani/qt/bluetooth/adapters.h>

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <algorithm>
#include <utility>

namespace korvani::qt::bluetooth {

namespace {

const QString kRoot = QStringLiteral("/");

void merge(const QVariantMap& properties, Adapter& adapter) {
  const auto follow = [&](const char* name, bool& value) {
    const QVariant found = properties.value(QLatin1String(name));
    if (found.typeId() == QMetaType::Bool) value = found.toBool();
  };
  follow("Powered", adapter.isPowered);
  follow("Discovering", adapter.isDiscovering);
}

bool offersPatterns(const QVariantMap& monitorManager) {
  return monitorManager.value(QStringLiteral("SupportedMonitorTypes"))
      .toStringList()
      .contains(QLatin1String("or_patterns"));
}

}  // namespace

Adapters::Adapters(const QDBusConnection& bus, const Settings& settings, Told told)
    : bus_(bus), told_(std::move(told)), backoff_(settings) {
  retry_.setSingleShot(true);
  connect(&retry_, &QTimer::timeout, this, [this] { read(); });
}

void Adapters::watch() {
  if (!bus_.isConnected()) return setDaemon(QString());
  const auto subscribe = [this](const QString& path, const QString& interface, const char* name,
                                const QString& argument, BusSignal::Came came) {
    signals_.push_back(std::make_unique<BusSignal>(bus_, path, interface, QLatin1String(name),
                                                   argument, std::move(came)));
  };
  subscribe(kRoot, kObjectManager, "InterfacesAdded", QString(),
            [this](const QDBusMessage& signal) { interfacesAdded(signal); });
  subscribe(kRoot, kObjectManager, "InterfacesRemoved", QString(),
            [this](const QDBusMessage& signal) { interfacesRemoved(signal); });
  subscribe(QString(), kProperties, "PropertiesChanged", kAdapter,
            [this](const QDBusMessage& signal) { adapterChanged(signal); });
  // From the bus library itself: a connection that is lost stays lost.
  subscribe(QStringLiteral("/org/freedesktop/DBus/Local"),
            QStringLiteral("org.freedesktop.DBus.Local"), "Disconnected", QString(),
            [this](const QDBusMessage&) { setDaemon(QString()); });
  findService(bus_, kService, this, [this](const QString& owner) { setDaemon(owner); });
}

void Adapters::setDaemon(const QString& name) {
  knowsDaemon_ = true;
  daemon_ = name;
  ++life_;
  ++session_;
  complaints_.forget();
  adapters_.clear();
  refusal_.clear();
  refusals_.forget();
  isRead_ = isReading_ = readsAgain_ = false;
  retry_.stop();
  backoff_.reset();
  choose();
  read();
  told_.changed();
}

void Adapters::read() {
  if (daemon_.isEmpty()) return;
  if (isReading_) {
    readsAgain_ = true;
    return;
  }
  isReading_ = true;
  call(bus_, kRoot, kObjectManager, QStringLiteral("GetManagedObjects"), {}, this,
       [this, life = life_](const QDBusMessage& answer) {
         if (life != life_) return;
         isReading_ = false;
         took(answer);
         if (std::exchange(readsAgain_, false)) read();
       });
}

void Adapters::took(const QDBusMessage& objects) {
  if (isError(objects) || objects.signature() != QLatin1String("a{oa{sa{sv}}}")) {
    complaints_.say(QStringLiteral("cannot list the adapters: %1").arg(textOf(objects)));
    refusal_ = refusals_.failureOf(objects);
    retry_.start(backoff_.next());
    return told_.changed();
  }
  backoff_.reset();
  refusal_.clear();
  refusals_.forget();
  isRead_ = true;
  adapters_.clear();
  const auto tree = objects.arguments().at(0).value<QDBusArgument>();
  tree.beginMap();
  while (!tree.atEnd()) {
    tree.beginMapEntry();
    QDBusObjectPath path;
    tree >> path;
    take(path.path(), readObject(tree), false);
    tree.endMapEntry();
  }
  tree.endMap();
  choose();
  told_.changed();
}

void Adapters::take(const QString& path, const ObjectNews& news, bool isNow) {
  if (news.adapter) merge(*news.adapter, adapters_[path]);
  const auto known = adapters_.find(path);
  if (news.monitorManager && known != adapters_.end()) {
    known->second.canMonitor = offersPatterns(*news.monitorManager);
  }
  if (news.device) told_.deviceFound(path, *news.device, isNow);
}

void Adapters::interfacesAdded(const QDBusMessage& signal) {
  if (signal.service() != daemon_ || signal.signature() != QLatin1String("oa{sa{sv}}")) return;
  const QVariantList arguments = signal.arguments();
  const ObjectNews news = readObject(arguments.at(1).value<QDBusArgument>());
  take(arguments.at(0).value<QDBusObjectPath>().path(), news, true);
  if (!news.adapter && !news.monitorManager) return;
  readsAgain_ = isReading_;
  choose();
  told_.changed();
}

void Adapters::interfacesRemoved(const QDBusMessage& signal) {
  if (signal.service() != daemon_ || signal.signature() != QLatin1String("oas")) return;
  const QVariantList arguments = signal.arguments();
  const QString path = arguments.at(0).value<QDBusObjectPath>().path();
  const QStringList interfaces = arguments.at(1).toStringList();
  if (interfaces.contains(kDevice)) told_.deviceRemoved(path);
  const auto known = adapters_.find(path);
  if (known == adapters_.end()) return;
  if (interfaces.contains(kMonitorManager)) known->second.canMonitor = false;
  if (interfaces.contains(kAdapter)) adapters_.erase(known);
  readsAgain_ = isReading_;
  choose();
  told_.changed();
}

void Adapters::adapterChanged(const QDBusMessage& signal) {
  if (signal.service() != daemon_ || signal.signature() != QLatin1String("sa{sv}as")) return;
  readsAgain_ = isReading_;
  const auto known = adapters_.find(signal.path());
  if (known == adapters_.end()) return;
  QVariantMap properties;
  signal.arguments().at(1).value<QDBusArgument>() >> properties;
  merge(properties, known->second);
  choose();
  told_.changed();
}

void Adapters::choose() {
  if (!chosen().isPowered) {
    auto best = std::find_if(adapters_.begin(), adapters_.end(),
                             [](const auto& entry) { return entry.second.isPowered; });
    if (best == adapters_.end()) best = adapters_.begin();
    path_ = best == adapters_.end() ? QString() : best->first;
  }
  const QString usable = chosen().isPowered ? path_ : QString();
  if (std::exchange(usable_, usable) != usable) ++session_;
}

Adapter Adapters::chosen() const {
  const auto known = adapters_.find(path_);
  return known == adapters_.end() ? Adapter() : known->second;
}

Adapters::State Adapters::state() const {
  if (!knowsDaemon_) return State::kUnknown;
  if (daemon_.isEmpty()) return State::kNoDaemon;
  if (!refusal_.isEmpty()) return State::kRefused;
  if (!isRead_) return State::kUnknown;
  if (adapters_.empty()) return State::kNoAdapter;
  return chosen().isPowered ? State::kReady : State::kSwitchedOff;
}

bool Adapters::isOurs(const QDBusMessage& signal) const {
  return signal.service() == daemon_ && isOurs(signal.path());
}

bool Adapters::isOurs(const QString& devicePath) const {
  return !usable_.isEmpty() && devicePath.size() > usable_.size() &&
         devicePath[usable_.size()] == QLatin1Char('/') && devicePath.startsWith(usable_);
}

}  // namespace korvani::qt::bluetooth
