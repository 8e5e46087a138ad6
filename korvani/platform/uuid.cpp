// Text forms of UUIDs.
#include <korvani/platform/uuid.h>

#include <charconv>

namespace korvani::platform {
namespace {

constexpr bool isHyphenPosition(std::size_t i) { return i == 8 || i == 13 || i == 18 || i == 23; }

}  // namespace

std::optional<Uuid> Uuid::fromString(std::string_view text) {
  if (text.size() != 36) return std::nullopt;
  Bytes bytes{};
  std::size_t at = 0;
  for (std::uint8_t& byte : bytes) {
    if (isHyphenPosition(at) && text[at++] != '-') return std::nullopt;
    const char* const end = text.data() + at + 2;
    if (std::from_chars(text.data() + at, end, byte, 16).ptr != end) return std::nullopt;
    at += 2;
  }
  return Uuid(bytes);
}

std::string Uuid::UUIDString() const {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  text.reserve(36);
  for (const std::uint8_t byte : bytes_) {
    if (isHyphenPosition(text.size())) text += '-';
    text += kDigits[byte >> 4];
    text += kDigits[byte & 15];
  }
  return text;
}

}  // namespace korvani::platform
