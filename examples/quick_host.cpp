// An application of Qt Quick that embeds Korvani: an API key is its one argument. What the phone
// shows is made of widgets, so the application object is a QApplication here too.
#include <korvani/qt/phone.h>
#include <korvani/sdk/korvani.h>

#include <QApplication>
#include <QQmlApplicationEngine>
#include <QWindow>
#include <string>

using korvani::Korvani;

namespace {

constexpr char kScene[] = R"(
  import QtQuick
  import QtQuick.Window
  Window {
    visible: true
    width: 390
    height: 700
    title: "Quick host"
    color: "#26503a"
    Text {
      anchors.centerIn: parent
      color: "white"
      font.pixelSize: 22
      text: "Walk past a beacon."
    }
  })";

}  // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  QApplication::setApplicationName("quick-host");
  QApplication::setOrganizationName("Korvani examples");

  QQmlApplicationEngine scene;
  scene.loadData(kScene);
  if (scene.rootObjects().isEmpty()) return 1;
  auto* window = qobject_cast<QWindow*>(scene.rootObjects().constFirst());

  const auto phone = korvani::qt::Phone::create(window);
  korvani::platform::Platform::install(phone);
  phone->setLocalNotificationOpenedHandler(&Korvani::didReceiveLocalNotification);
  phone->forwardLifecycle(&Korvani::didEnterBackground, &Korvani::didBecomeActive);

  const std::string key = argc > 1 ? argv[1] : "demo-key";
  phone->whenLaunched([key](auto notification) {
    Korvani::initWithAPIKey(key, notification, /*isProd=*/false);
    Korvani::setDebugLogEnabled(true);
    Korvani::requestLocalizationAndNotificationsAuthorization();
  });
  return QApplication::exec();
}
