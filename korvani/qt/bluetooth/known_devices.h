// What was last heard of each device: the daemon signals what has changed, and not the rest.
#pragma once

#include <korvani/location/advertisement.h>
#include <korvani/qt/bluetooth/object_reader.h>

#include <QString>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace korvani::qt::bluetooth {

/// By the address in the device's path: devices of other paths are not remembered. Addresses
/// rotate, so there is room for so many; a further one takes another's place. All memory is taken
/// at once.
class KnownDevices {
 public:
  struct Device {
    location::IBeacon beacon;
    int rssi = kNoRssi;
  };

  explicit KnownDevices(std::size_t most);

  /// Null for one that is not known; good until the next change.
  const Device* find(const QString& path) const;
  /// False when another one had to make room.
  bool remember(const QString& path, const Device& device);
  void forget(const QString& path);
  std::size_t size() const { return addresses_.size(); }

 private:
  std::size_t placeOf(std::uint64_t address) const;

  const std::size_t most_;
  /// Apart from what they are the addresses of, so that looking for one is a run over few bytes.
  std::vector<std::uint64_t> addresses_;
  std::vector<Device> devices_;
  std::size_t next_ = 0;
};

}  // namespace korvani::qt::bluetooth
