// Keeps a source of Qt Positioning running, and what it last said.
#include <korvani/qt/bus_call.h>
#include <korvani/qt/log.h>
#include <korvani/qt/positions.h>

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingReply>
#include <QGuiApplication>
#include <QVariantMap>
#include <algorithm>
#include <utility>

namespace korvani::qt {

namespace {

constexpr std::chrono::minutes kLongestRetry{10};

const QString kGeoClue = QStringLiteral("org.freedesktop.GeoClue2");
const QString kManagerPath = QStringLiteral("/org/freedesktop/GeoClue2/Manager");
const QString kManager = QStringLiteral("org.freedesktop.GeoClue2.Manager");
const QString kProperties = QStringLiteral("org.freedesktop.DBus.Properties");

constexpr char kAbsent[] = "no position service: please install GeoClue";
constexpr char kSilent[] = "the position service does not answer: please restart GeoClue";
constexpr char kNotAllowed[] =
    "not allowed to use the position: please allow it in the system's settings";
constexpr char kClosed[] = "the position service has stopped: please start GeoClue if it stays so";
constexpr char kNotFound[] =
    "no position is found: please switch on Wi-Fi or mobile data, or go where the sky is seen";

/// GeoClue wants to know who asks, and Qt tells it nothing where no desktop file is named.
QGeoPositionInfoSource* makeSystemSource(QObject* parent) {
  const QString desktopFile = QGuiApplication::desktopFileName();
  const QVariantMap parameters{
      {QStringLiteral("desktopId"),
       desktopFile.isEmpty() ? QCoreApplication::applicationName() : desktopFile}};
  return QGeoPositionInfoSource::createDefaultSource(parameters, parent);
}

}  // namespace

Positions::Positions(MakeSource makeSource, std::chrono::milliseconds firstRetry)
    : makeSource_(std::move(makeSource)), firstRetry_(firstRetry) {
  for (QTimer* timer : {&retryTimer_, &tellTimer_}) timer->setSingleShot(true);
  connect(&retryTimer_, &QTimer::timeout, this, [this] { open(); });
  connect(&tellTimer_, &QTimer::timeout, this, [this] { tellFailure(); });
}

Positions::~Positions() { drop(); }

void Positions::setListener(std::weak_ptr<location::PositionListener> listener) {
  listener_ = std::move(listener);
}

void Positions::start() {
  isStarted_ = true;
  nextRetry_ = firstRetry_;
  open();
}

void Positions::stop() {
  isStarted_ = false;
  retryTimer_.stop();
  drop();
}

std::optional<platform::Coordinate> Positions::lastCoordinate() const {
  return lastCoordinate_.load();
}

void Positions::open() {
  if (!makeSource_) return wakeGeoClue();
  run(makeSource_(this));
}

/// The source of Qt waits for GeoClue's answers. GeoClue may take long to start, or hang, so it is
/// asked something first, and nobody waits for that.
void Positions::wakeGeoClue() {
  if (std::exchange(isWaking_, true)) return;
  auto bus = QDBusConnection::systemBus();
  if (bus.isConnected() && !std::exchange(isWatchingGeoClue_, true)) {
    // Qt's source does not notice.
    followService(bus, kGeoClue, this, [this](const QString& owner) {
      if (owner.isEmpty()) sourceFailed(QGeoPositionInfoSource::ClosedError);
    });
  }
  const auto question = newCall(kGeoClue, kManagerPath, kProperties, QStringLiteral("Get"),
                                {kManager, QStringLiteral("AvailableAccuracyLevel")});
  call(bus, question, this, [this](const QDBusPendingReply<>& reply) {
    isWaking_ = false;
    if (!isStarted_) return;
    const QDBusError::ErrorType error = reply.error().type();
    if (error == QDBusError::NoReply || error == QDBusError::TimedOut) return failAndRetry(kSilent);
    openSystemSource(!reply.isError());
  });
}

/// Another source than GeoClue's may be there even without GeoClue.
void Positions::openSystemSource(bool isGeoClueThere) {
  QGeoPositionInfoSource* source = makeSystemSource(this);
  if (source != nullptr && !isGeoClueThere && source->sourceName() == QLatin1String("geoclue2")) {
    delete std::exchange(source, nullptr);
  }
  run(source);
}

void Positions::run(QGeoPositionInfoSource* source) {
  if (source == nullptr) return failAndRetry(kAbsent);
  source_ = source;
  // By default a source of Qt wants no method, which GeoClue takes at its word.
  source->setPreferredPositioningMethods(QGeoPositionInfoSource::AllPositioningMethods);
  connect(source, &QGeoPositionInfoSource::positionUpdated, this,
          [this](const QGeoPositionInfo& fix) { take(fix); });
  connect(source, &QGeoPositionInfoSource::errorOccurred, this,
          [this](QGeoPositionInfoSource::Error error) { sourceFailed(error); });
  source->startUpdates();
}

/// Never used again: GeoClue's source loses its client when a stop is followed by a start too soon.
void Positions::drop() {
  if (source_ == nullptr) return;
  QGeoPositionInfoSource* const source = std::exchange(source_, nullptr);
  disconnect(source, nullptr, this, nullptr);
  source->stopUpdates();
  source->deleteLater();
}

void Positions::take(const QGeoPositionInfo& fix) {
  // A source that has just started may repeat what it said long ago, which is no news.
  const bool isNew =
      fix.timestamp() != lastFix_.timestamp() || fix.coordinate() != lastFix_.coordinate();
  if (!fix.isValid() || !isNew) return;
  lastFix_ = fix;
  lastCoordinate_.store(
      platform::Coordinate{fix.coordinate().latitude(), fix.coordinate().longitude()});
  nextRetry_ = firstRetry_;
  setFailure(std::nullopt);
}

void Positions::sourceFailed(QGeoPositionInfoSource::Error error) {
  if (source_ == nullptr) return;
  switch (error) {
    case QGeoPositionInfoSource::NoError:
      return;
    case QGeoPositionInfoSource::UpdateTimeoutError:
      // The source goes on by itself.
      return setFailure(kNotFound);
    case QGeoPositionInfoSource::AccessError:
      return failAndRetry(kNotAllowed);
    case QGeoPositionInfoSource::ClosedError:
    case QGeoPositionInfoSource::UnknownSourceError:
      break;
  }
  failAndRetry(kClosed);
}

void Positions::failAndRetry(const char* failure) {
  drop();
  setFailure(failure);
  retryTimer_.start(nextRetry_);
  nextRetry_ = std::min<std::chrono::milliseconds>(2 * nextRetry_, kLongestRetry);
}

/// Told in a later turn of the event loop; what has passed by then is not told.
void Positions::setFailure(std::optional<std::string> failure) {
  failure_ = std::move(failure);
  tellTimer_.start(0);
}

void Positions::tellFailure() {
  if (failure_ == toldFailure_) return;
  toldFailure_ = failure_;
  if (failure_) qCWarning(phoneLog, "%s", failure_->c_str());
  if (const auto listener = listener_.lock()) listener->positionFailureChanged(failure_);
}

}  // namespace korvani::qt
