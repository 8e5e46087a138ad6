// A 128-bit identifier, as beacons bear it, and the source of random ones.
#pragma once

#include <korvani/platform/export.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace korvani::platform {

class KORVANI_EXPORT Uuid {
 public:
  using Bytes = std::array<std::uint8_t, 16>;

  Uuid() = default;
  explicit Uuid(const Bytes& bytes) : bytes_(bytes) {}
  /// From the form 8-4-4-4-12 of hexadecimal digits of either case; nothing from any other text.
  static std::optional<Uuid> fromString(std::string_view text);

  /// 36 characters, upper-case hexadecimal digits with hyphens.
  std::string UUIDString() const;
  const Bytes& bytes() const { return bytes_; }

  friend bool operator==(const Uuid&, const Uuid&) = default;
  friend bool operator<(const Uuid& left, const Uuid& right) { return left.bytes_ < right.bytes_; }

 private:
  Bytes bytes_{};
};

/// Makes random UUIDs (RFC 4122, version 4). Called by the start call on the main thread.
class RandomUuids {
 public:
  virtual ~RandomUuids() = default;
  virtual Uuid newUuid() = 0;
};

}  // namespace korvani::platform
