// Filter, start, and start again.
#include <korvani/qt/bluetooth/discovery.h>

#include <QVariantMap>
#include <utility>

namespace korvani::qt::bluetooth {

namespace {

/// Without the RSSI the daemon signals jumps of 8 dB alone, and without duplicates it says nothing
/// of data that stay as they are. Daemons that do not know a key refuse the whole filter, so the
/// keys go one by one, the youngest first.
constexpr int kKeys = 3;

QVariantMap filterOf(int keys) {
  QVariantMap filter;
  if (keys > 0) filter.insert(QStringLiteral("Transport"), QStringLiteral("le"));
  if (keys > 1) filter.insert(QStringLiteral("RSSI"), QVariant::fromValue<short>(-127));
  if (keys > 2) filter.insert(QStringLiteral("DuplicateData"), true);
  return filter;
}

}  // namespace

Discovery::Discovery(const QDBusConnection& bus, const Settings& settings, Failed failed)
    : bus_(bus), failed_(std::move(failed)), backoff_(settings) {
  retry_.setSingleShot(true);
  connect(&retry_, &QTimer::timeout, this, [this] { advance(); });
  ended_.setSingleShot(true);
  ended_.setInterval(settings.firstRetry);
  connect(&ended_, &QTimer::timeout, this, [this] {
    if (!isDiscovering_) restart("the adapter stopped discovering");
  });
}

Discovery::~Discovery() {
  if (isRunning_) tell(bus_, adapter_, kAdapter, QStringLiteral("StopDiscovery"), {});
}

void Discovery::use(const QString& adapter, int session) {
  if (std::exchange(session_, session) == session) return;
  adapter_ = adapter;
  isRunning_ = isToRestart_ = isBusy_ = isDiscovering_ = false;
  refusedKeys_ = 0;
  backoff_.reset();
  refusals_.forget();
  retry_.stop();
  ended_.stop();
  complaints_.forget();
  failed_(std::nullopt);
  advance();
}

void Discovery::setWanted(bool isWanted) {
  if (std::exchange(isWanted_, isWanted) != isWanted) advance();
}

void Discovery::setDiscovering(bool isDiscovering) {
  if (std::exchange(isDiscovering_, isDiscovering) == isDiscovering) return;
  // The daemon takes a breath between rounds; only what lasts is an end.
  if (isDiscovering) ended_.stop();
  if (!isDiscovering && isRunning_) ended_.start();
}

void Discovery::restart(const char* why) {
  if (!isRunning_) return;
  complaints_.say(QStringLiteral("starting discovery anew: %1").arg(QLatin1String(why)));
  isToRestart_ = true;
  advance();
}

void Discovery::advance() {
  if (adapter_.isEmpty() || isBusy_) return;
  if (isRunning_ && !isWanted_) return stop();
  if (retry_.isActive()) return;
  if (isRunning_ && isToRestart_) return stop();
  if (!isRunning_ && isWanted_) setFilter();
}

void Discovery::ask(const char* method, const QVariantList& arguments,
                    void (Discovery::*answered)(const QDBusMessage& answer)) {
  isBusy_ = true;
  call(bus_, adapter_, kAdapter, QLatin1String(method), arguments, this,
       [this, session = session_, answered](const QDBusMessage& answer) {
         if (session != session_) return;
         isBusy_ = false;
         (this->*answered)(answer);
       });
}

void Discovery::setFilter() {
  if (refusedKeys_ == kKeys) return start();
  ask("SetDiscoveryFilter", {filterOf(kKeys - refusedKeys_)}, &Discovery::filterAnswered);
}

void Discovery::filterAnswered(const QDBusMessage& answer) {
  if (isError(answer, "InvalidArguments") || isError(answer, "NotSupported")) {
    complaints_.say(
        QStringLiteral("discovery goes on with less of a filter: %1").arg(textOf(answer)));
    ++refusedKeys_;
    return advance();
  }
  if (isError(answer)) return refused("SetDiscoveryFilter", answer);
  isWanted_ ? start() : advance();
}

void Discovery::start() { ask("StartDiscovery", {}, &Discovery::startAnswered); }

void Discovery::startAnswered(const QDBusMessage& answer) {
  if (isError(answer)) {
    // A session that we do not know of may be there: the next attempt ends it first.
    isRunning_ = isToRestart_ = isError(answer, "InProgress") || isError(answer, "NoReply");
    return refused("StartDiscovery", answer);
  }
  isRunning_ = true;
  backoff_.reset();
  refusals_.forget();
  failed_(std::nullopt);
  advance();
}

void Discovery::stop() {
  ended_.stop();
  ask("StopDiscovery", {}, &Discovery::stopAnswered);
}

/// An error is that nothing runs.
void Discovery::stopAnswered(const QDBusMessage&) {
  isRunning_ = isToRestart_ = false;
  advance();
}

void Discovery::refused(const char* method, const QDBusMessage& answer) {
  complaints_.say(QStringLiteral("%1 is refused and tried again: %2")
                      .arg(QLatin1String(method), textOf(answer)));
  const QString failure = refusals_.failureOf(answer);
  if (!failure.isEmpty()) failed_(failure);
  retry_.start(backoff_.next());
}

}  // namespace korvani::qt::bluetooth
