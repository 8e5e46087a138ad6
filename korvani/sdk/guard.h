// The kit's border: nothing that is thrown below it, by the phone or by the host, gets past.
#pragma once

#include <korvani/platform/platform.h>

#include <string_view>
#include <utility>

namespace korvani {

/// The installed phone. Only for what runs once the kit has started.
inline platform::Platform& phone() { return *platform::Platform::installed(); }

/// Writes a line to the phone's log: the text, then the argument's description.
void logLine(std::string_view text);
void logLine(std::string_view text, const platform::Value& argument);

/// Says in the log what was caught; to be called while an exception is handled.
void logDropped() noexcept;

/// Runs the work; what it throws is logged and dropped.
template <typename Work>
void guarded(Work&& work) noexcept {
  try {
    std::forward<Work>(work)();
  } catch (...) {
    logDropped();
  }
}

/// Tells the phone, which may record it, what the host calls; `arguments` makes the dictionary.
template <typename Arguments>
void tellHostCalled(std::string_view operation, Arguments&& arguments) noexcept {
  guarded([&] {
    if (auto* const phone = platform::Platform::installed()) {
      phone->hostCalled(operation, arguments());
    }
  });
}
void tellHostCalled(std::string_view operation) noexcept;

}  // namespace korvani
