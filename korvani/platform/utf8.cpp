// Validity by the table of well-formed byte sequences of the Unicode standard.
#include <korvani/platform/utf8.h>

#include <algorithm>

namespace korvani::platform {

std::size_t utf8SequenceLength(std::string_view text) {
  const auto byte = [&](std::size_t i) -> unsigned {
    return i < text.size() ? static_cast<unsigned char>(text[i]) : 0U;
  };
  const auto continues = [&](std::size_t i) { return byte(i) >= 0x80 && byte(i) <= 0xBF; };
  const unsigned lead = byte(0);
  if (lead < 0x80) return text.empty() ? 0 : 1;
  if (lead >= 0xC2 && lead <= 0xDF) return continues(1) ? 2 : 0;
  if (lead >= 0xE0 && lead <= 0xEF) {
    const bool overlong = lead == 0xE0 && byte(1) < 0xA0;
    const bool surrogate = lead == 0xED && byte(1) > 0x9F;
    return continues(1) && continues(2) && !overlong && !surrogate ? 3 : 0;
  }
  if (lead >= 0xF0 && lead <= 0xF4) {
    const bool overlong = lead == 0xF0 && byte(1) < 0x90;
    const bool beyondUnicode = lead == 0xF4 && byte(1) > 0x8F;
    return continues(1) && continues(2) && continues(3) && !overlong && !beyondUnicode ? 4 : 0;
  }
  return 0;
}

std::size_t utf8Offset(std::string_view text, std::size_t index) {
  std::size_t offset = 0;
  for (; index > 0; --index) {
    if (offset == text.size()) return std::string_view::npos;
    offset += std::max<std::size_t>(utf8SequenceLength(text.substr(offset)), 1);
  }
  return offset;
}

}  // namespace korvani::platform
