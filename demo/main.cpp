// Fernhill Market: what an application does to embed the kit, and what a demonstration adds to
// watch it at work.
#include <korvani/qt/phone.h>
#include <korvani/sdk/korvani.h>
#include <korvani/sdk/version.h>
#include <korvani/simulator/recorded_phone.h>

#include <QApplication>
#include <QCommandLineParser>
#include <QDesktopServices>
#include <QElapsedTimer>
#include <QTemporaryDir>
#include <QTimer>
#include <QUrl>
#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>

#include "dunst.h"
#include "kit_log.h"
#include "road.h"
#include "service_log.h"
#include "shop_window.h"
#include "visitor.h"
#include "watched_phone.h"

namespace demo {
namespace {

using korvani::Korvani;
using korvani::platform::Platform;
using korvani::platform::Value;

constexpr int kReadMilliseconds = 50;
const QString kKnownKey = "demo-key";

struct Options {
  QString key;
  QString walk;
  QString pictures;
  QString serviceLog;
  QString recording;
  bool automatic = false;
  bool dunst = false;
  int patience = 0;
};

std::optional<Options> readOptions(const QApplication& application) {
  QCommandLineParser parser;
  parser.setApplicationDescription("A small shop that embeds Korvani.");
  parser.addHelpOption();
  parser.addVersionOption();
  parser.addOptions(
      {{"key", "API key to start the kit with.", "key", kKnownKey},
       {"walk", "Beacons, and how a visitor walks past them, in place of the radio.", "file"},
       {"service-log", "Request log of the local service, to follow.", "file"},
       {"record", "Write what happens as a script for korvani-replay.", "file"},
       {"pictures", "Folder for pictures of each screen, with --auto.", "folder"},
       {"auto", "Open, tap and close everything without a user, then end."},
       {"dunst", "With --auto: notifications come through dunst, and are opened there."},
       {"patience", "Seconds after which --auto gives up.", "seconds", "280"}});
  if (!parser.parse(application.arguments())) {
    std::fprintf(stderr, "korvani-demo: %s\n", qPrintable(parser.errorText()));
    return std::nullopt;
  }
  if (parser.isSet("help")) parser.showHelp();
  if (parser.isSet("version")) parser.showVersion();
  if (!parser.positionalArguments().isEmpty()) {
    std::fprintf(stderr, "korvani-demo: unknown argument \"%s\"\n",
                 qPrintable(parser.positionalArguments().constFirst()));
    return std::nullopt;
  }
  bool isNumber = false;
  const int patience = parser.value("patience").toInt(&isNumber);
  if (!isNumber || patience <= 0) {
    std::fputs("korvani-demo: --patience takes a number of seconds\n", stderr);
    return std::nullopt;
  }
  if (parser.isSet("walk") && beaconsOfWalk(parser.value("walk")).isEmpty()) {
    std::fprintf(stderr, "korvani-demo: %s: no walk past any beacon\n",
                 qPrintable(parser.value("walk")));
    return std::nullopt;
  }
  return Options{parser.value("key"),      parser.value("walk"),
                 parser.value("pictures"), parser.value("service-log"),
                 parser.value("record"),   parser.isSet("auto"),
                 parser.isSet("dunst"),    patience};
}

/// One line a step: time, what, which.
Road::Tell tellOnStandardOutput() {
  QElapsedTimer since;
  since.start();
  return [since](const QString& what, const QString& which) {
    const double seconds = static_cast<double>(since.elapsed()) / 1000;
    const int minutes = static_cast<int>(seconds / 60);
    std::printf("%02d:%04.1f  %-10s %s\n", minutes, seconds - 60 * minutes, qPrintable(what),
                qPrintable(which));
    std::fflush(stdout);
  };
}

/// What the kit shows over the shop now; empty for nothing.
QString nameOfScreen() {
  using namespace korvani::platform;
  auto screen = Platform::installed()->application().rootViewController();
  if (screen) screen = screen->presentedViewController();
  if (const auto navigation = std::dynamic_pointer_cast<NavigationController>(screen)) {
    screen = navigation->topViewController();
  }
  if (!screen) return {};
  for (const auto& view : screen->view()->subviews()) {
    const auto page = std::dynamic_pointer_cast<WebView>(view);
    if (!page) continue;
    const std::string address = page->url() ? page->url()->absoluteString() : "";
    return (screen->navigationController() ? "pushed page " : "web pop-up ") +
           QString::fromStdString(address);
  }
  return "image pop-up";
}

/// With nobody there to read it in a browser, a web address is only fetched.
class Fetcher : public QObject {
  Q_OBJECT

 public:
  Fetcher() { QDesktopServices::setUrlHandler("http", this, "fetch"); }
  ~Fetcher() override { QDesktopServices::unsetUrlHandler("http"); }

  Q_INVOKABLE void fetch(const QUrl& url) {
    using namespace korvani::platform;
    const auto address = URL::URLWithString(url.toString(QUrl::FullyEncoded).toStdString());
    Platform* const phone = Platform::installed();
    phone->queues().globalQueue(QueuePriority::kDefault).async([phone, address] {
      phone->urlConnection().dataWithContentsOfURL(*address);
    });
  }
};

/// The shop on its phone, with the road that the beacons take.
class Demonstration {
 public:
  explicit Demonstration(const Options& options)
      : options_(options),
        window_(&Korvani::setDebugLogEnabled),
        log_(options.serviceLog),
        road_(beaconsOfWalk(options.walk), options.key == kKnownKey, tell_) {}

  int run() {
    window_.show();
    embedTheKit();
    QObject::connect(&reading_, &QTimer::timeout, [this] { readOn(); });
    reading_.start(kReadMilliseconds);
    if (options_.automatic) visitAlone();
    QApplication::exec();
    readOn();
    return verdict();
  }

 private:
  void embedTheKit() {
    korvani::qt::PhoneOptions phoneOptions;
    phoneOptions.walkFile = options_.walk;
    phoneOptions.settingsFile = store_.filePath("defaults.ini");  // each run is a first start
    phoneOptions.notificationsFolder = store_.filePath("notifications");
    const auto phone = korvani::qt::Phone::create(&window_, phoneOptions);
    install(watchedPhone(phone, watcher()));
    phone->setLocalNotificationOpenedHandler([this](const Value& userInfo) {
      road_.notificationOpened(userInfo);
      Korvani::didReceiveLocalNotification(userInfo);
    });
    phone->forwardLifecycle(&Korvani::didEnterBackground, &Korvani::didBecomeActive);
    phone->whenLaunched([this](const auto& launch) {
      tell_("started", "key " + options_.key);
      Korvani::initWithAPIKey(options_.key.toStdString(), launch, /*isProd=*/false);
      Korvani::setColorBackground(korvani::platform::Color{0x26, 0x3e, 0x30});
      Korvani::requestLocalizationAndNotificationsAuthorization();
    });
  }

  void install(const std::shared_ptr<Platform>& phone) const {
    const std::string file = options_.recording.toStdString();
    Platform::install(file.empty() ? phone : korvani::simulator::recordedPhone(phone, file));
  }

  Watcher watcher() {
    // What the service has logged comes first in time, so it is read first.
    return {.notificationPosted =
                [this](const auto& notification) {
                  readOn();
                  road_.notificationPosted(QString::fromStdString(notification.alertBody),
                                           notification.userInfo);
                },
            .uriAsked =
                [this](const auto& uri, bool opened) {
                  road_.uriAsked(QString::fromStdString(uri.absoluteString()), opened);
                },
            .alertShown =
                [this](const auto& alert) {
                  readOn();
                  road_.alertShown(QString::fromStdString(alert.message));
                }};
  }

  void visitAlone() {
    fetcher_.emplace();
    if (options_.dunst) dunst_.emplace();
    visitor_.emplace(Visitor::Surroundings{
        .window = &window_,
        .root = [] { return Platform::installed()->application().rootViewController(); },
        .roadIsComplete = [this] { return hasEnd() && road_.missing().isEmpty(); },
        .dunst = dunst_ ? &*dunst_ : nullptr,
        .posted = [this] { return road_.posted(); },
        .opened = [this] { return road_.opened(); },
        .pictures = options_.pictures,
        .leave = [] { QCoreApplication::quit(); }});
    if (!hasEnd()) return;
    QTimer::singleShot(options_.patience * 1000, &window_, [this] {
      std::fprintf(stderr, "korvani-demo: gave up while waiting for %s\n",
                   qPrintable(visitor_->waitingFor()));
      gaveUp_ = true;
      QCoreApplication::quit();
    });
  }

  /// With the radio there is always another beacon to come.
  bool hasEnd() const { return !options_.walk.isEmpty(); }

  void readOn() {
    for (const QJsonObject& request : log_.takeNew()) road_.requestLogged(request);
    road_.screenShown(nameOfScreen());
    const QStringList lines = takeKitLog();
    window_.addLogLines(lines);
    kitLines_ += lines;
  }

  int verdict() const {
    std::puts(qPrintable(road_.summary()));
    std::fflush(stdout);
    const QStringList missing = road_.missing();
    if (missing.isEmpty() && !gaveUp_) return 0;
    for (const QString& what : missing) std::fprintf(stderr, "  missing: %s\n", qPrintable(what));
    if (options_.automatic) {
      for (const QString& line : kitLines_) std::fprintf(stderr, "  log: %s\n", qPrintable(line));
    }
    return 1;
  }

  const Options options_;
  const Road::Tell tell_ = tellOnStandardOutput();
  const QTemporaryDir store_;
  ShopWindow window_;
  ServiceLog log_;
  Road road_;
  QTimer reading_;
  QStringList kitLines_;
  std::optional<Fetcher> fetcher_;
  std::optional<Dunst> dunst_;
  std::optional<Visitor> visitor_;
  bool gaveUp_ = false;
};

/// Whether it prints something about itself and ends, which needs no display.
bool tellsOfItself(int argc, char** argv) {
  const QStringList words{"-h", "--help", "--help-all", "-v", "--version"};
  return std::any_of(argv, argv + argc, [&](const char* word) { return words.contains(word); });
}

}  // namespace
}  // namespace demo

#include "main.moc"

int main(int argc, char** argv) {
  if (demo::tellsOfItself(argc, argv)) qputenv("QT_QPA_PLATFORM", "offscreen");
  QApplication application(argc, argv);
  QApplication::setApplicationName("korvani-demo");
  QApplication::setApplicationVersion(KORVANI_VERSION_STRING);
  QApplication::setApplicationDisplayName("Fernhill Market");
  QApplication::setOrganizationName("Korvani");
  demo::keepKitLog();
  const auto options = demo::readOptions(application);
  if (!options) return 2;
  return demo::Demonstration(*options).run();
}
