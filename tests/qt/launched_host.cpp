// A host for tests, which the bus starts again: FOLDER for what it keeps, PORT of the service that
// it talks to, and the SCENARIO that it posts as a notification, if any. It tells the service what
// it was launched by and when content is shown.
#include <korvani/codec/json.h>
#include <korvani/qt/phone.h>
#include <korvani/sdk/korvani.h>

#include <QApplication>
#include <QDir>
#include <QTimer>
#include <QWidget>

using korvani::Korvani;
using namespace korvani::platform;

namespace {

void tellService(const std::string& what) {
  Platform& phone = *Platform::installed();
  phone.queues().globalQueue(QueuePriority::kDefault).async([&phone, what] {
    phone.urlConnection().dataWithContentsOfURL(*URL::URLWithString("http://shop.example/" + what));
  });
}

}  // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  QGuiApplication::setDesktopFileName("org.example.Shop");
  const QDir folder(QString::fromLocal8Bit(argv[1]));
  const std::string service = std::string("127.0.0.1:") + argv[2];
  QWidget window;
  window.resize(390, 844);
  window.show();
  const auto phone = korvani::qt::Phone::create(
      &window, {.walkFile = {},
                .mappedHosts = {{"127.0.0.1:8780", service}, {"shop.example:80", service}},
                .settingsFile = folder.filePath("defaults.ini"),
                .notificationsFolder = folder.filePath("notifications")});
  Platform::install(phone);
  phone->setLocalNotificationOpenedHandler(&Korvani::didReceiveLocalNotification);
  phone->whenLaunched([&](const auto& launch) {
    Korvani::initWithAPIKey("key", launch, /*isProd=*/false);
    Korvani::setDebugLogEnabled(true);
    if (launch)
      tellService("launched-by-" + launch->userInfo.at("scenario_history_id").plainText());
    if (argc < 4) return;
    const Value scenario = korvani::codec::JSON().JSONObjectWithData(argv[3]);
    phone->application().scheduleLocalNotification(
        {*scenario.at("notification_text").text(), "", scenario});
  });
  QTimer looking;
  QObject::connect(&looking, &QTimer::timeout, [&] {
    if (!phone->application().rootViewController()->presentedViewController()) return;
    looking.stop();
    tellService("shown");
  });
  looking.start(20);
  return QApplication::exec();
}
