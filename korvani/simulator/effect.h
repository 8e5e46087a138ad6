// What came out of a simulated phone: one thing that the kit (or its host) did to the world.
#pragma once

#include <korvani/platform/value.h>

#include <chrono>
#include <string>
#include <string_view>

namespace korvani::simulator {

/// The kinds and their contents are those that docs/replay.md lists; dates in them are dictionaries
/// {"date": text}.
struct Effect {
  /// Since the phone's making.
  std::chrono::milliseconds at;
  /// "main", "request" or "global".
  std::string_view thread;
  std::string kind;
  platform::Value content;
};

}  // namespace korvani::simulator
