// All ports of one phone, and the one phone of this process.
#pragma once

#include <korvani/platform/application.h>
#include <korvani/platform/clock.h>
#include <korvani/platform/date_formatter.h>
#include <korvani/platform/device.h>
#include <korvani/platform/export.h>
#include <korvani/platform/json.h>
#include <korvani/platform/location_manager.h>
#include <korvani/platform/log.h>
#include <korvani/platform/notification_center.h>
#include <korvani/platform/queues.h>
#include <korvani/platform/screens/image.h>
#include <korvani/platform/screens/web_view.h>
#include <korvani/platform/url_connection.h>
#include <korvani/platform/user_defaults.h>
#include <korvani/platform/uuid.h>
#include <korvani/platform/value.h>

#include <memory>
#include <string_view>

namespace korvani::platform {

/// A phone: one accessor a port, each callable from any thread and the same object for life.
class KORVANI_EXPORT Platform {
 public:
  virtual ~Platform();

  virtual Log& log() = 0;
  virtual Clock& clock() = 0;
  virtual RandomUuids& randomUuids() = 0;
  virtual UserDefaults& standardUserDefaults() = 0;
  virtual NotificationCenter& defaultNotificationCenter() = 0;
  virtual Queues& queues() = 0;
  virtual URLConnection& urlConnection() = 0;
  virtual JSONSerialization& json() = 0;
  virtual ImageDecoder& images() = 0;
  virtual LocationService& locationService() = 0;
  virtual Device& device() = 0;
  virtual Application& application() = 0;
  virtual WebViews& webViews() = 0;

  // For phones that record; any other phone leaves both as they are. Main thread.
  /// The host calls this class-level operation, with arguments as a replay script names them.
  virtual void hostCalled(std::string_view operation, const Value& arguments);
  /// The user let go inside this button.
  virtual void buttonTouched(const Button& button);

  /// Main thread. Makes this the phone of the process, before the start call. The first one stays,
  /// for the life of the process; false when there is one already or none is given.
  static bool install(std::shared_ptr<Platform> platform);
  /// Null before `install`. Any thread.
  static Platform* installed();
};

}  // namespace korvani::platform
