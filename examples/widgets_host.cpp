// An application of Qt Widgets that embeds Korvani: an API key is its one argument.
#include <korvani/qt/phone.h>
#include <korvani/sdk/korvani.h>

#include <QApplication>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>
#include <QWidget>
#include <memory>
#include <string>

using korvani::Korvani;

namespace {

/// A screen of the host's own, shown by the same rules as the kit's.
std::unique_ptr<QWidget> aboutScreen() {
  auto screen = std::make_unique<QWidget>();
  screen->setAutoFillBackground(true);
  auto* layout = new QVBoxLayout(screen.get());
  layout->addWidget(new QLabel("Offers come to you while you walk by.\nEscape closes this."));
  return screen;
}

}  // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  QApplication::setApplicationName("widgets-host");
  QApplication::setOrganizationName("Korvani examples");

  QWidget window;
  auto* layout = new QVBoxLayout(&window);
  auto* about = new QPushButton("About");
  layout->addWidget(new QLabel("Walk past a beacon."));
  layout->addWidget(about);
  window.resize(390, 700);
  window.show();

  const auto phone = korvani::qt::Phone::create(&window);
  korvani::platform::Platform::install(phone);
  phone->setLocalNotificationOpenedHandler(&Korvani::didReceiveLocalNotification);
  phone->forwardLifecycle(&Korvani::didEnterBackground, &Korvani::didBecomeActive);
  QObject::connect(about, &QPushButton::clicked,
                   [phone] { phone->presentHostScreen(aboutScreen()); });

  const std::string key = argc > 1 ? argv[1] : "demo-key";
  phone->whenLaunched([key](auto notification) {
    Korvani::initWithAPIKey(key, notification, /*isProd=*/false);
    Korvani::setDebugLogEnabled(true);
    Korvani::requestLocalizationAndNotificationsAuthorization();
  });
  return QApplication::exec();
}
