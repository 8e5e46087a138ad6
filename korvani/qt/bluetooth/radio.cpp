// Weighs what is wanted against what the daemon offers, and tells what comes in.
#include <korvani/qt/bluetooth/bluez.h>
#include <korvani/qt/bluetooth/radio.h>
#include <korvani/qt/log.h>

#include <QDBusArgument>
#include <utility>

namespace korvani::qt::bluetooth {

using location::Listening;
using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

Radio::Radio(const Settings& settings, const QDBusConnection& bus)
    : bus_(bus),
      settings_(settings),
      adapters_(bus, settings,
                {.changed =
                     [this] {
                       // At once: a decision may see two changes as none.
                       discovery_.setDiscovering(adapters_.chosen().isDiscovering);
                       decideSoon();
                     },
                 .deviceFound = [this](const QString& path, const DeviceNews& news,
                                       bool isNow) { deviceFound(path, news, isNow); },
                 .deviceRemoved =
                     [this](const QString& path) {
                       if (known_) known_->forget(path);
                     }}),
      discovery_(bus, settings,
                 [this](const std::optional<QString>& failure) {
                   refusal_ = failure;
                   decideSoon();
                 }),
      monitor_(bus, settings,
               {.changed = [this] { decideSoon(); },
                .found = [this] { followBeacons(steady_clock::now()); }}) {
  for (QTimer* timer : {&decision_, &cycle_, &stall_, &stands_}) timer->setSingleShot(true);
  connect(&decision_, &QTimer::timeout, this, [this] { decide(); });
  connect(&cycle_, &QTimer::timeout, this, [this] { decide(); });
  connect(&stall_, &QTimer::timeout, this, [this] { stalled(); });
  connect(&stands_, &QTimer::timeout, this, [this] { tellFailure(standing_); });
}

void Radio::setListener(std::weak_ptr<location::AdvertisementListener> listener) {
  listener_ = std::move(listener);
  told_.reset();
  if (!std::exchange(watches_, true)) adapters_.watch();
  decideSoon();
}

void Radio::listen(const Listening& wanted) {
  wanted_ = wanted;
  // Of presence it is not known at first who is there, and a monitor may not tell.
  followedUntil_ = steady_clock::now() + settings_.followedFor;
  decideSoon();
}

/// Changes that come meanwhile put nothing off.
void Radio::decideSoon() {
  if (!decision_.isActive()) decision_.start(settings_.decidesAfter);
}

void Radio::decide() {
  const bool isListening = wanted_.level != Listening::Level::kOff;
  const bool isPresence = wanted_.level == Listening::Level::kPresence;
  const bool isFull = wanted_.level == Listening::Level::kFull;
  const Adapter adapter = adapters_.chosen();
  const QString usable = adapters_.usable();
  subscribe(isListening);
  if (std::exchange(session_, adapters_.session()) != adapters_.session()) {
    followedUntil_ = steady_clock::now() + settings_.followedFor;
  }

  std::optional<PresenceMonitor::Wanted> watched;
  if (isPresence && !usable.isEmpty() && adapter.canMonitor) {
    watched = {adapters_.daemon(), usable, adapters_.session(), wanted_.presenceOf};
  }
  monitor_.watchFor(watched);
  turnCycle();
  discovery_.use(usable, adapters_.session());
  discovery_.setDiscovering(adapter.isDiscovering);
  discovery_.setWanted(isFull || isSweeping_);
  watchForStall(isFull && !usable.isEmpty());
  reviewFailure();
}

/// Signals of devices are let in while somebody listens; what the daemon knew before is read then.
void Radio::subscribe(bool isListening) {
  if (isListening == devices_.has_value()) return;
  if (!isListening) {
    devices_.reset();
    known_.reset();
    return;
  }
  devices_.emplace(bus_, QString(), kProperties, kPropertiesChanged, kDevice,
                   [this](const QDBusMessage& signal) { deviceChanged(signal); });
  known_.emplace(settings_.mostDevices);
  adapters_.read();
}

void Radio::turnCycle() {
  const bool needsSweeps = !monitor_.isActive() || steady_clock::now() < followedUntil_;
  if (wanted_.level != Listening::Level::kPresence || !needsSweeps) {
    isSweeping_ = false;
    return cycle_.stop();
  }
  if (cycle_.isActive()) return;
  isSweeping_ = !isSweeping_;
  cycle_.start(isSweeping_ ? settings_.sweep : settings_.pause);
}

void Radio::watchForStall(bool isOn) {
  if (!isOn) return stall_.stop();
  if (stall_.isActive()) return;
  lastAdvertisement_ = steady_clock::now();
  stall_.start(settings_.stallAfter);
}

void Radio::stalled() {
  const auto silence = duration_cast<milliseconds>(steady_clock::now() - lastAdvertisement_);
  if (silence < settings_.stallAfter) return stall_.start(settings_.stallAfter - silence);
  discovery_.restart("nothing was heard for long");
  watchForStall(true);
}

void Radio::deviceChanged(const QDBusMessage& signal) {
  if (!adapters_.isOurs(signal) || signal.signature() != QLatin1String("sa{sv}as")) return;
  const QVariantList arguments = signal.arguments();
  const auto& invalidated = *static_cast<const QStringList*>(arguments[2].constData());
  if (!invalidated.isEmpty() && invalidated.contains(QLatin1String("ManufacturerData"))) {
    known_->forget(signal.path());
  }
  heard(signal.path(), readDevice(arguments[1].value<QDBusArgument>()));
}

/// A device appears with its first advertisement. Those that the daemon remembers say who an RSSI
/// that comes alone belongs to, and nothing of now.
void Radio::deviceFound(const QString& path, const DeviceNews& news, bool isNow) {
  if (!known_) return;
  if (isNow && news.rssi && adapters_.isOurs(path)) return heard(path, news);
  if (news.rssi && news.beacon && isWanted(*news.beacon)) {
    remember(path, {*news.beacon, *news.rssi});
  }
}

void Radio::heard(const QString& path, const DeviceNews& news) {
  if (!known_ || (!news.hasManufacturerData && !news.rssi)) return;
  const Moment now = steady_clock::now();
  lastAdvertisement_ = now;
  const KnownDevices::Device* known = known_->find(path);
  std::optional<location::IBeacon> beacon = news.beacon;
  if (!news.hasManufacturerData && known) beacon = known->beacon;
  // Who is known may have been wanted by an earlier listening alone.
  if (!beacon || !isWanted(*beacon)) {
    if (known) known_->forget(path);
    return;
  }
  const KnownDevices::Device device{*beacon,
                                    news.rssi ? *news.rssi : (known ? known->rssi : kNoRssi)};
  remember(path, device);
  if (wanted_.level == Listening::Level::kPresence) followBeacons(now);
  if (const auto listener = listener_.lock()) listener->beaconHeard(device.beacon, device.rssi);
}

void Radio::remember(const QString& path, const KnownDevices::Device& device) {
  if (known_->remember(path, device) || std::exchange(saidTooMany_, true)) return;
  qCInfo(phoneLog, "Bluetooth: more than %zu devices; no more than these are remembered",
         settings_.mostDevices);
}

void Radio::followBeacons(Moment now) {
  followedUntil_ = now + settings_.followedFor;
  if (!cycle_.isActive()) decideSoon();
}

bool Radio::isWanted(const location::IBeacon& beacon) const {
  return wanted_.level == Listening::Level::kFull || beacon.proximityUUID == wanted_.presenceOf;
}

std::optional<std::string> Radio::failure() const {
  switch (adapters_.state()) {
    case Adapters::State::kUnknown:
      return told_;
    case Adapters::State::kNoDaemon:
      return "bluetoothd is not running";
    case Adapters::State::kRefused:
      return adapters_.refusal().toStdString();
    case Adapters::State::kNoAdapter:
      return "no Bluetooth adapter";
    case Adapters::State::kSwitchedOff:
      return "Bluetooth is switched off";
    case Adapters::State::kReady:
      break;
  }
  return refusal_ ? std::optional(refusal_->toStdString()) : std::nullopt;
}

/// A failure must stand for a moment; that all is well is told at once.
void Radio::reviewFailure() {
  const auto now = failure();
  if (now == told_) return stands_.stop();
  if (!now) {
    stands_.stop();
    return tellFailure(now);
  }
  if (stands_.isActive() && standing_ == now) return;
  standing_ = now;
  stands_.start(settings_.failureStandsFor);
}

void Radio::tellFailure(const std::optional<std::string>& failure) {
  told_ = failure;
  if (failure) {
    qCWarning(phoneLog, "Bluetooth: no beacons are heard: %s", failure->c_str());
  } else {
    qCInfo(phoneLog, "Bluetooth: beacons are heard again");
  }
  if (const auto listener = listener_.lock()) listener->availabilityChanged(failure);
}

}  // namespace korvani::qt::bluetooth
