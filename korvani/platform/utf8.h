// Walking over UTF-8 text, valid or not.
#pragma once

#include <korvani/platform/export.h>

#include <cstddef>
#include <string_view>

namespace korvani::platform {

/// How many bytes the first character of the text takes; 0 when the text begins with bytes that are
/// no UTF-8 (or is empty).
KORVANI_EXPORT std::size_t utf8SequenceLength(std::string_view text);

/// Where the character of that index begins, bytes that are no UTF-8 counting as one each; npos
/// when the text has fewer characters. The index after the last character gives the text's size.
KORVANI_EXPORT std::size_t utf8Offset(std::string_view text, std::size_t index);

}  // namespace korvani::platform
