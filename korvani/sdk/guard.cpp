// Log lines, and what is said of an exception that is dropped.
#include <korvani/sdk/guard.h>

#include <exception>
#include <string>

namespace korvani {

void logLine(std::string_view text) {
  try {
    phone().log().write(text);
  } catch (...) {
    // A log that fails costs its line, not the work that the line is about.
  }
}

void logLine(std::string_view text, const platform::Value& argument) {
  logLine(std::string(text) + argument.description());
}

void tellHostCalled(std::string_view operation) noexcept {
  tellHostCalled(operation, [] { return platform::Value::Dictionary{}; });
}

void logDropped() noexcept {
  try {
    try {
      throw;
    } catch (const std::exception& error) {
      logLine("ERROR - dropped after an exception -- ", error.what());
    } catch (...) {
      logLine("ERROR - dropped after an exception");
    }
  } catch (...) {
    // Not even memory for the line; there is nobody left to tell.
  }
}

}  // namespace korvani
