// The Linux phone on Qt 6. A host makes it with its window, installs it and forwards what the phone
// tells it:
//
//   QApplication application(argc, argv);
//   ...
//   auto phone = qt::Phone::create(&window);
//   platform::Platform::install(phone);
//   phone->setLocalNotificationOpenedHandler(&Korvani::didReceiveLocalNotification);
//   phone->forwardLifecycle(&Korvani::didEnterBackground, &Korvani::didBecomeActive);
//   phone->whenLaunched([](auto launch) { Korvani::initWithAPIKey("key", launch, true); });
#pragma once

#include <korvani/location/location_settings.h>
#include <korvani/platform/platform.h>
#include <korvani/qt/bluetooth/settings.h>
#include <korvani/qt/host_window.h>

#include <QString>
#include <chrono>
#include <functional>
#include <map>
#include <memory>

class QWidget;

namespace korvani::qt {

/// What a host may choose; all of it may be left as it is.
struct PhoneOptions {
  /// Beacons, and the way past them that the phone takes from its creation on, in place of what its
  /// radio hears; docs/radio.md tells the form. Empty: the radio.
  QString walkFile{};
  /// "host:port" → "host:port" that requests go to in its place; for tests.
  std::map<std::string, std::string> mappedHosts{};
  /// The INI file of the user-defaults store; empty: the host's own QSettings.
  QString settingsFile{};
  /// How distance, zones and regions are judged, and how the radio listens; docs/radio.md tells
  /// what each figure means.
  location::LocationSettings locationSettings{};
  bluetooth::Settings bluetoothSettings{};
  /// How long the application may go on in the background before its tasks expire.
  std::chrono::milliseconds backgroundTime = std::chrono::minutes(3);
  /// Where notifications wait to be opened; empty: a folder among the host's own data.
  QString notificationsFolder{};
};

/// Main thread; lives until the process ends once it is installed. A QApplication exists already
/// and has its names set, that of its desktop entry included; a host with a window of Qt Quick
/// makes one too. The window may be closed or destroyed at any time: what would show in it then
/// shows nothing.
class KORVANI_EXPORT Phone : public platform::Platform {
 public:
  /// Before the QApplication is made, and needed only where the build says that Qt lacks what else
  /// prepares web pages: without it they then open in the browser.
  static void prepareApplication();
  static std::shared_ptr<Phone> create(const HostWindow& hostWindow, PhoneOptions options = {});

  /// Called on the main thread with the user information of each local notification that the user
  /// opens. One that is opened before there is a handler waits for it.
  virtual void setLocalNotificationOpenedHandler(
      std::function<void(const platform::Value& userInfo)> handler) = 0;
  /// Called once on the main thread, soon and never from inside this call, with the local
  /// notification whose opening started this process, or null: for the kit's start call. Only then
  /// does the handler above hear of other notifications. Without this it hears of all.
  virtual void whenLaunched(
      std::function<void(std::shared_ptr<const platform::LocalNotification> launch)> launched) = 0;
  /// Calls these on the main thread when the application goes into the background and when it
  /// becomes active. A host without a window is in the foreground until the phone's own window is
  /// shown; from then on it is in the background whenever that is not.
  virtual void forwardLifecycle(std::function<void()> didEnterBackground,
                                std::function<void()> didBecomeActive) = 0;
  /// Shows the host's own widget over the window as the kit shows its screens: in turn with them,
  /// and gone when one of them takes its place, when the application goes into the background, on
  /// Escape, or when the host dismisses the controller that this returns. It is deleted then. While
  /// it is shown its shortcuts work, and not those of the window under it. Null, and nothing is
  /// shown, without a widget. Main thread.
  virtual std::shared_ptr<platform::ViewController> presentHostScreen(
      std::unique_ptr<QWidget> screen) = 0;
};

}  // namespace korvani::qt
