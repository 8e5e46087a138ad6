// The radio hears what is wanted of it; what is gone hears nothing.
#include <korvani/simulator/radio.h>

namespace korvani::simulator {

using location::Listening;

void SimulatedRadio::send(std::span<const std::uint8_t> advertisingData, int rssi) {
  if (failure_ || wanted_.level == Listening::Level::kOff) return;
  const auto beacon = location::iBeaconIn(advertisingData);
  if (!beacon) return;
  const bool hearsAll = wanted_.level == Listening::Level::kFull;
  if (!hearsAll && beacon->proximityUUID != wanted_.presenceOf) return;
  if (const auto listener = listener_.lock()) listener->beaconHeard(*beacon, rssi);
}

void SimulatedRadio::setFailure(const std::optional<std::string>& failure) {
  failure_ = failure;
  if (const auto listener = listener_.lock()) listener->availabilityChanged(failure);
}

void SimulatedPositions::setFailure(const std::optional<std::string>& failure) {
  if (const auto listener = listener_.lock()) listener->positionFailureChanged(failure);
}

}  // namespace korvani::simulator
