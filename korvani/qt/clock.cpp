// Time and randomness from the system.
#include <korvani/qt/clock.h>
#include <sys/random.h>
#include <time.h>

#include <thread>

namespace korvani::qt {

platform::Date Clock::now() const {
  return std::chrono::floor<std::chrono::milliseconds>(std::chrono::system_clock::now());
}

std::chrono::minutes Clock::utcOffset(platform::Date date) const {
  const std::time_t seconds =
      std::chrono::floor<std::chrono::seconds>(date).time_since_epoch().count();
  std::tm local{};
  // localtime_r alone need not see a zone that has changed since.
  ::tzset();
  if (::localtime_r(&seconds, &local) == nullptr) return std::chrono::minutes(0);
  return std::chrono::floor<std::chrono::minutes>(std::chrono::seconds(local.tm_gmtoff));
}

void Clock::sleepFor(std::chrono::milliseconds duration) {
  std::this_thread::sleep_for(duration);
  life_.haltIfEnded();
}

platform::Uuid RandomUuids::newUuid() {
  platform::Uuid::Bytes bytes{};
  // So few bytes come whole and cannot fail.
  [[maybe_unused]] const auto got = ::getrandom(bytes.data(), bytes.size(), 0);
  // RFC 4122: version 4, variant 1.
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0FU) | 0x40U);
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3FU) | 0x80U);
  return platform::Uuid(bytes);
}

}  // namespace korvani::qt
