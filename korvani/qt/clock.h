// The clock port, and the source of random UUIDs: the system's own.
#pragma once

#include <korvani/platform/clock.h>
#include <korvani/platform/uuid.h>
#include <korvani/qt/application_life.h>

namespace korvani::qt {

class Clock final : public platform::Clock {
 public:
  explicit Clock(ApplicationLife& life) : life_(life) {}
  platform::Date now() const override;
  std::chrono::minutes utcOffset(platform::Date date) const override;
  /// Does not return once the application has gone.
  void sleepFor(std::chrono::milliseconds duration) override;

 private:
  ApplicationLife& life_;
};

class RandomUuids final : public platform::RandomUuids {
 public:
  platform::Uuid newUuid() override;
};

}  // namespace korvani::qt
