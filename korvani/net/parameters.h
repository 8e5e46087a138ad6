// How a beacon and the device's state become text parameters.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace korvani {

/// A major or minor as four upper-case hexadecimal digits.
std::string beaconIdentifierText(std::uint16_t identifier);

/// The word that reports a proximity; empty for a value that no platform is known to send, nothing
/// for an unknown proximity, which is not reported.
std::optional<std::string> proximityWord(int proximity);

/// Percent, a half rounded away from zero; -100 for an unknown level (-1.0).
std::int32_t batteryPercent(float batteryLevel);

}  // namespace korvani
