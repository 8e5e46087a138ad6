// A phone that fails at a call of your choice, to try what a host and the kit do then.
//
//   auto phone = std::make_shared<simulator::FaultyPlatform>(simulatedPhone);
//   platform::Platform::install(phone);
//   phone->fail(simulator::Fault::kThrows, 3);
#pragma once

#include <korvani/platform/platform.h>

#include <chrono>
#include <cstddef>
#include <memory>
#include <string_view>

namespace korvani::simulator {

enum class Fault {
  /// The call throws, and the phone hears nothing of it.
  kThrows,
  /// The phone hears nothing of the call, whose answer is none: null, false, zero, 1970, a UUID of
  /// zeros; an empty answer to a request.
  kNothing,
  /// What the call lets happen later happens a minute later than that; a download takes so long.
  kLate,
  /// It happens twice.
  kTwice,
  /// It never happens.
  kNever,
  /// It happens in `release`, say when the screen has gone that it was for.
  kHeld,
};

enum class FaultLength { kOnce, kForGood };

/// Passes every call on to another phone, but for those that fail. A call counts where the fault
/// means something: a battery level never comes twice. What happens later are jobs, answers,
/// observers, the end of background time, what a location manager tells, and of a web view that its
/// page could not be loaded, which it then tells though it could.
class KORVANI_EXPORT FaultyPlatform final : public platform::Platform {
 public:
  explicit FaultyPlatform(std::shared_ptr<platform::Platform> phone);
  ~FaultyPlatform() override;

  // Any thread.
  /// Counts the calls from now on: that one (1 is the next) fails, and with kForGood all after it.
  void fail(Fault fault, std::size_t call = 1, FaultLength length = FaultLength::kOnce);
  /// Calls fail no more. What is late or held stays so.
  void mend();
  /// The calls that failed since `fail`.
  std::size_t failures() const;

  /// Main thread. All that is held happens now.
  void release();

  platform::Log& log() override;
  platform::Clock& clock() override;
  platform::RandomUuids& randomUuids() override;
  platform::UserDefaults& standardUserDefaults() override;
  platform::NotificationCenter& defaultNotificationCenter() override;
  platform::Queues& queues() override;
  platform::URLConnection& urlConnection() override;
  platform::JSONSerialization& json() override;
  platform::ImageDecoder& images() override;
  platform::LocationService& locationService() override;
  platform::Device& device() override;
  platform::Application& application() override;
  platform::WebViews& webViews() override;
  void hostCalled(std::string_view operation, const platform::Value& arguments) override;
  void buttonTouched(const platform::Button& button) override;

 private:
  struct Parts;
  const std::unique_ptr<Parts> parts_;
};

}  // namespace korvani::simulator
