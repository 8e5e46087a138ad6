// The UUID of a configuration answer.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace korvani {

/// The first 32 characters grouped 8-4-4-4-12 with hyphens, as they stand; nothing from a shorter
/// text.
std::optional<std::string> hyphenatedUUID(std::string_view text);

}  // namespace korvani
