// The version of the kit, for the preprocessor and for the program. The build takes the project's
// version from here.
#pragma once

#define KORVANI_VERSION_MAJOR 0
#define KORVANI_VERSION_MINOR 1
#define KORVANI_VERSION_PATCH 0
#define KORVANI_VERSION_STRING "0.1.0"

namespace korvani {

inline constexpr int kVersionMajor = KORVANI_VERSION_MAJOR;
inline constexpr int kVersionMinor = KORVANI_VERSION_MINOR;
inline constexpr int kVersionPatch = KORVANI_VERSION_PATCH;

}  // namespace korvani
