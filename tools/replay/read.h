// Readers of the values that scripts are made of. All throw ScriptError.
#pragma once

#include <korvani/platform/platform.h>
#include <korvani/platform/screens/color.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace korvani::replay {

/// More than a script ever needs, far below where times overflow: 100 years.
inline constexpr double kMostSeconds = 3155760000.0;

std::chrono::milliseconds millisecondsOf(double seconds);

/// "2026-11-15T23:59:00Z", with up to three decimals of a second.
platform::Date readDate(const platform::Value& value);
/// "+0100".
std::chrono::minutes readUtcOffset(const platform::Value& value);
/// "#rrggbb".
platform::Color readColor(const platform::Value& value);
platform::Uuid readUuid(const platform::Value& value);
platform::Beacon readBeacon(const platform::Value& value);
/// "02011a", in either case.
std::vector<std::uint8_t> readBytes(const platform::Value& value);
/// "00:00:00:00:00:01".
void checkAddress(const platform::Value& value);
/// The bytes of the file at that path.
std::string readFile(const platform::Value& path);
std::shared_ptr<const platform::Image> readImage(const platform::Value& path);

}  // namespace korvani::replay
