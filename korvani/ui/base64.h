// Decoding of standard base64.
#pragma once

#include <string>
#include <string_view>

namespace korvani::ui {

/// The bytes; empty when a character is none of the alphabet's or the padding is not right.
std::string base64Decoded(std::string_view text);

}  // namespace korvani::ui
