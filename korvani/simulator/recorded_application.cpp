// What the kit asks of the application is passed on, and what happens to it told to a script.
#include <korvani/simulator/recorded_application.h>

#include <cmath>
#include <utility>

namespace korvani::simulator {

using namespace platform;

class RecordedApplication::RecordedAlert final
    : public AlertDelegate,
      public std::enable_shared_from_this<RecordedAlert> {
 public:
  RecordedAlert(std::weak_ptr<AlertDelegate> delegate, RecordedApplication& application)
      : delegate_(std::move(delegate)), application_(application) {}

  void alertClickedButtonAtIndex(int index) override {
    const auto self = shared_from_this();
    application_.script_.write({{"event", "dismissAlert"}});
    application_.alerts_.erase(self);
    if (const auto delegate = delegate_.lock()) delegate->alertClickedButtonAtIndex(index);
  }

 private:
  const std::weak_ptr<AlertDelegate> delegate_;
  RecordedApplication& application_;
};

BackgroundTaskIdentifier RecordedApplication::beginBackgroundTaskWithName(
    const std::string& name, std::function<void()> expirationHandler) {
  const auto identifier = ForwardingApplication::beginBackgroundTaskWithName(
      name, [this, expired = std::move(expirationHandler)] {
        script_.write({{"event", "backgroundTimeExpired"}});
        expired();
      });
  script_.note("backgroundTasks", identifier != kBackgroundTaskInvalid);
  return identifier;
}

double RecordedApplication::backgroundTimeRemaining() const {
  const double seconds = ForwardingApplication::backgroundTimeRemaining();
  if (std::isfinite(seconds)) script_.note("backgroundTimeRemaining", seconds);
  return seconds;
}

bool RecordedApplication::openURL(const std::optional<URL>& url) {
  const bool opened = ForwardingApplication::openURL(url);
  if (url) script_.noteOpening(url->absoluteString(), opened);
  return opened;
}

void RecordedApplication::showAlert(const Alert& alert) {
  Alert watched = alert;
  const auto delegate = std::make_shared<RecordedAlert>(alert.delegate, *this);
  alerts_.insert(delegate);
  watched.delegate = delegate;
  ForwardingApplication::showAlert(watched);
}

}  // namespace korvani::simulator
