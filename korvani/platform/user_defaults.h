// The port for the store of small values that outlives the process; the host's keys live there too.
#pragma once

#include <korvani/platform/value.h>

#include <string_view>

namespace korvani::platform {

/// Safe from any thread; one call is atomic. Kinds survive a restart: a boolean, number, text and
/// date come back as what they were. What cannot be read is null; what cannot be written is said in
/// the adapter's log and kept in memory.
class UserDefaults {
 public:
  virtual ~UserDefaults() = default;
  /// Null when nothing is stored under the key.
  virtual Value objectForKey(std::string_view key) const = 0;
  /// Null removes the key.
  virtual void setObject(const Value& value, std::string_view key) = 0;
  /// Returns when everything set so far is on disk, or has failed to get there.
  virtual void synchronize() = 0;
  /// Everything that is stored, as one dictionary.
  virtual Value dictionaryRepresentation() const = 0;
};

}  // namespace korvani::platform
