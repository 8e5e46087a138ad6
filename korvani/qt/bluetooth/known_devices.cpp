// Two rows side by side, addresses and devices.
#include <korvani/qt/bluetooth/known_devices.h>

#include <algorithm>
#include <optional>

namespace korvani::qt::bluetooth {

namespace {

std::optional<unsigned> digit(char16_t character) {
  if (character >= u'0' && character <= u'9') return character - u'0';
  if (character >= u'A' && character <= u'F') return character - u'A' + 10;
  return std::nullopt;
}

/// From /org/bluez/hci0/dev_00_11_22_AA_BB_CC.
std::optional<std::uint64_t> addressIn(const QString& path) {
  constexpr qsizetype kDigits = 17;
  if (path.size() <= kDigits) return std::nullopt;
  std::uint64_t address = 0;
  for (qsizetype i = 0; i < kDigits; ++i) {
    const char16_t character = path[path.size() - kDigits + i].unicode();
    if (i % 3 == 2) {
      if (character != u'_') return std::nullopt;
      continue;
    }
    const auto value = digit(character);
    if (!value) return std::nullopt;
    address = address << 4 | *value;
  }
  return address;
}

}  // namespace

KnownDevices::KnownDevices(std::size_t most) : most_(std::max<std::size_t>(most, 1)) {
  addresses_.reserve(most_);
  devices_.reserve(most_);
}

std::size_t KnownDevices::placeOf(std::uint64_t address) const {
  const auto place = std::find(addresses_.begin(), addresses_.end(), address);
  return static_cast<std::size_t>(place - addresses_.begin());
}

const KnownDevices::Device* KnownDevices::find(const QString& path) const {
  const auto address = addressIn(path);
  const std::size_t place = address ? placeOf(*address) : size();
  return place < size() ? &devices_[place] : nullptr;
}

bool KnownDevices::remember(const QString& path, const Device& device) {
  const auto address = addressIn(path);
  if (!address) return true;
  std::size_t place = placeOf(*address);
  const bool isFull = place == most_;
  if (place == size() && !isFull) {
    addresses_.push_back(*address);
    devices_.push_back(device);
    return true;
  }
  if (isFull) place = next_++ % most_;
  addresses_[place] = *address;
  devices_[place] = device;
  return !isFull;
}

void KnownDevices::forget(const QString& path) {
  const auto address = addressIn(path);
  const std::size_t place = address ? placeOf(*address) : size();
  if (place == size()) return;
  addresses_[place] = addresses_.back();
  devices_[place] = devices_.back();
  addresses_.pop_back();
  devices_.pop_back();
}

}  // namespace korvani::qt::bluetooth
