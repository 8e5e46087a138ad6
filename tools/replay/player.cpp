// Plays the steps of a script.
#include "player.h"

#include <korvani/sdk/korvani.h>
#include <korvani/simulator/script_writer.h>

#include <utility>

namespace korvani::replay {

class Player::RecordingDelegate : public KorvaniDelegate {
 public:
  explicit RecordingDelegate(simulator::SimulatedPhone& phone) : phone_(phone) {}

  void korvaniDidReceiveNotification(platform::Value notification) override {
    phone_.record("delegate", platform::Value::Dictionary{
                                  {"korvaniDidReceiveNotification", std::move(notification)}});
  }

 private:
  simulator::SimulatedPhone& phone_;
};

Player::Player(const Beginning& beginning, std::function<void(const simulator::Effect&)> print)
    : phone_(
          std::make_shared<simulator::SimulatedPhone>(beginning.start, beginning.locationService)) {
  phone_->setEffectHandler(std::move(print));
  phone_->setLocalNotificationOpenedHandler(&Korvani::didReceiveLocalNotification);
  platform::Platform::install(phone_);
}

void Player::play(const Step& step) {
  phone_->advance(step.at - phone_->elapsed());
  step.action(*this);
  phone_->advance({});
}

void Player::finish() { phone_->advance(simulator::kTimeAfterLastLine); }

void Player::setDelegate(DelegateKind kind) {
  auto delegate =
      kind == DelegateKind::kNone ? nullptr : std::make_shared<RecordingDelegate>(*phone_);
  Korvani::setDelegate(delegate);
  // The kit holds it weakly; one that is not kept here is gone.
  delegate_ = kind == DelegateKind::kRecording ? std::move(delegate) : nullptr;
}

}  // namespace korvani::replay
