// What of the application port is more than handing over.
#include <korvani/qt/application.h>
#include <korvani/qt/open_url.h>

namespace korvani::qt {

bool Application::openURL(const std::optional<platform::URL>& url) {
  return url && openOnDesktop(url->absoluteString());
}

void Application::scheduleLocalNotification(const platform::LocalNotification& notification) {
  mainQueue_.async(
      [this, prepared = notifications::Prepared(notification)] { notifications_.post(prepared); });
}

}  // namespace korvani::qt
