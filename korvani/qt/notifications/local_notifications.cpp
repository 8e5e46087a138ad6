// The way of a notification between the host, the store and the service.
#include <korvani/platform/utf8.h>
#include <korvani/qt/log.h>
#include <korvani/qt/notifications/desktop_service.h>
#include <korvani/qt/notifications/local_notifications.h>
#include <korvani/qt/notifications/portal_service.h>
#include <korvani/qt/notifications/sound.h>
#include <korvani/qt/sandbox.h>

#include <QStandardPaths>
#include <QTimer>
#include <algorithm>
#include <utility>

namespace korvani::qt::notifications {

namespace {

constexpr std::chrono::milliseconds kLongestRetry = std::chrono::minutes(10);

QString folderOr(const QString& given) {
  if (!given.isEmpty()) return given;
  return QStandardPaths::writableLocation(QStandardPaths::AppDataLocation) +
         QStringLiteral("/korvani-notifications");
}

std::unique_ptr<Service> newService(const HostService& host) {
  if (!isInSandbox()) return std::make_unique<DesktopService>();
  return std::make_unique<PortalService>([&host] { return host.isOnBus(); });
}

/// As much of it as a service or a banner gets, in characters: no desktop shows more.
std::string shownText(const platform::LocalNotification& notification) {
  constexpr std::size_t kMostShown = 1000;
  return notification.alertBody.substr(0, platform::utf8Offset(notification.alertBody, kMostShown));
}

}  // namespace

LocalNotifications::LocalNotifications(Surroundings here, const QString& folder,
                                       const platform::JSONSerialization& json,
                                       std::chrono::milliseconds firstRetry)
    : here_(std::move(here)),
      store_(folderOr(folder), json),
      hostService_(
          {.activated = [this](const QString& token) { raiseWindow(token); },
           .actionActivated =
               [this](const QString& action, const QVariant& target, const QString& token) {
                 if (action == kOpenAction) return launchOrOpen(target.toString(), token);
                 qCInfo(phoneLog, "an action was activated that the phone does not know");
               },
           .settled = [this] { settled(); }}),
      service_(newService(hostService_)),
      firstRetry_(firstRetry) {
  retry_.setSingleShot(true);
  connect(&retry_, &QTimer::timeout, this, [this] { showWaiting(); });
  service_->listen({.opened = [this](const QString& id, const QString& token) { open(id, token); },
                    .dismissed = [this](const QString& id) { store_.take(id); },
                    .arrived =
                        [this] {
                          unsure_.clear();
                          showWaiting();
                        }});
  for (const auto& [id, kept] : store_.all()) {
    if (!kept.place.isEmpty()) service_->adopt(id, kept.place);
  }
  hostService_.start();
}

void LocalNotifications::post(const Prepared& notification) {
  const QString id = store_.add(notification);
  const auto ids = store_.ids();
  for (std::size_t i = 0; i + kMostKept < ids.size(); ++i) {
    store_.take(ids[i]);
    service_->withdraw(ids[i]);
  }
  if (isSettled_) show(id);
}

void LocalNotifications::setOpenedHandler(Opened opened) {
  opened_ = std::move(opened);
  tellOpened();
}

void LocalNotifications::whenLaunched(Launched launched) {
  launched_ = std::move(launched);
  if (isSettled_) QTimer::singleShot(0, this, [this] { tellLaunch(); });
}

// A host that does not ask what it was started for is told like of any other.
void LocalNotifications::settled() {
  isSettled_ = true;
  if (launched_) {
    tellLaunch();
  } else if (launch_) {
    openedBefore_.push_back(std::exchange(launch_, nullptr)->userInfo);
  }
  tellOpened();
  showWaiting();
}

void LocalNotifications::tellLaunch() {
  if (const auto launched = std::exchange(launched_, nullptr)) {
    launched(std::exchange(launch_, nullptr));
  }
  tellOpened();
}

void LocalNotifications::tellOpened() {
  // What is called here may set another handler.
  const Opened handler = opened_;
  if (!handler || !isSettled_ || launched_) return;
  for (const auto& userInfo : std::exchange(openedBefore_, {})) handler(userInfo);
}

void LocalNotifications::opened(const platform::Value& userInfo) {
  openedBefore_.push_back(userInfo);
  tellOpened();
}

void LocalNotifications::show(const QString& id) {
  const auto kept = store_.all().find(id);
  if (kept == store_.all().end() || onTheirWay_.contains(id)) return;
  onTheirWay_.insert(id);
  const auto& notification = *kept->second.prepared.notification;
  const Posting posting{id, QString::fromStdString(shownText(notification)),
                        findSound(QString::fromStdString(notification.soundName))};
  service_->show(posting, [this, id](const Service::Outcome& outcome) { showed(id, outcome); });
}

void LocalNotifications::showed(const QString& id, const Service::Outcome& outcome) {
  onTheirWay_.remove(id);
  if (outcome.place.isEmpty()) {
    if (outcome.mayBeShown) unsure_.insert(id);
    here_.showBanners([this] { return nextBanner(); });
  } else {
    tookOne_ = true;
    store_.setPlace(id, outcome.place);
    // Too many came meanwhile.
    if (!store_.all().contains(id)) service_->withdraw(id);
  }
  if (onTheirWay_.isEmpty()) allAnswered();
}

/// Whoever is refused while others are taken has one more try at once, and then waits.
void LocalNotifications::allAnswered() {
  const bool tookOne = std::exchange(tookOne_, false);
  if (tookOne) nextRetry_ = firstRetry_;
  const auto ids = store_.ids();
  if (std::none_of(ids.begin(), ids.end(), [this](const auto& id) { return isWaiting(id); })) {
    return retry_.stop();
  }
  if (tookOne) return showWaiting();
  if (retry_.isActive()) return;
  retry_.start(nextRetry_);
  nextRetry_ = std::min(2 * nextRetry_, kLongestRetry);
}

bool LocalNotifications::isWaiting(const QString& id) const {
  return store_.all().at(id).place.isEmpty() && !unsure_.contains(id);
}

void LocalNotifications::showWaiting() {
  if (!isSettled_) return;
  for (const QString& id : store_.ids()) {
    if (isWaiting(id)) show(id);
  }
}

void LocalNotifications::windowAppeared() {
  showWaiting();
  if (!unsure_.isEmpty()) here_.showBanners([this] { return nextBanner(); });
}

// Until one is shown it is in the store: for a service that comes, or for the next process.
std::optional<Banner> LocalNotifications::nextBanner() {
  for (const QString& id : store_.ids()) {
    if (!store_.all().at(id).place.isEmpty() || onTheirWay_.contains(id)) continue;
    if (const auto notification = store_.take(id)) {
      return Banner{shownText(*notification),
                    [this, userInfo = notification->userInfo] { opened(userInfo); }};
    }
  }
  return std::nullopt;
}

void LocalNotifications::open(const QString& id, const QString& token) {
  if (const auto notification = take(id, token)) opened(notification->userInfo);
}

// The first that comes with the host's name is what the process was started for.
void LocalNotifications::launchOrOpen(const QString& id, const QString& token) {
  if (isSettled_ || launch_) return open(id, token);
  launch_ = take(id, token);
}

std::shared_ptr<const platform::LocalNotification> LocalNotifications::take(const QString& id,
                                                                            const QString& token) {
  auto notification = store_.take(id);
  service_->withdraw(id);
  raiseWindow(token);
  if (!notification) qCInfo(phoneLog, "a notification was opened again, or is not known any more");
  return notification;
}

// Where Qt takes the token from at the request; nothing that the host starts later may take it too.
void LocalNotifications::raiseWindow(const QString& token) {
  constexpr const char* kToken = "XDG_ACTIVATION_TOKEN";
  if (!token.isEmpty()) qputenv(kToken, token.toUtf8());
  here_.raiseWindow();
  if (!token.isEmpty()) qunsetenv(kToken);
}

}  // namespace korvani::qt::notifications
