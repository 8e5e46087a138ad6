// Strict reading of one JSON object of a script: every key is known, has its type and its range.
#pragma once

#include <korvani/platform/value.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace korvani::replay {

/// What is wrong with a line, for people.
class ScriptError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// As it stands in a script, with control characters escaped.
std::string quoted(std::string_view text);

/// Runs `read`; puts the place in front of what is wrong in it.
void within(std::string_view place, const std::function<void()>& read);

std::string asText(const platform::Value& value);
bool asBoolean(const platform::Value& value);
std::int64_t asInteger(const platform::Value& value, std::int64_t least, std::int64_t most);
double asNumber(const platform::Value& value, double least, double most);
const platform::Value::Array& asList(const platform::Value& value);
const platform::Value::Dictionary& asObject(const platform::Value& value);

/// The keys of one object. Each is asked for by its name; `finish` refuses those that nobody asked
/// for. All readers throw ScriptError and name the key.
class Fields {
 public:
  /// The value outlives the fields.
  explicit Fields(const platform::Value& object) : entries_(asObject(object)) {}

  /// Null when the key is not there.
  const platform::Value* find(std::string_view key);
  /// The key must be there.
  const platform::Value& get(std::string_view key);

  std::string text(std::string_view key);
  /// Null gives nothing.
  std::optional<std::string> textOrNull(std::string_view key);
  bool boolean(std::string_view key);
  bool boolean(std::string_view key, bool otherwise);
  std::int64_t integer(std::string_view key, std::int64_t least, std::int64_t most);
  double number(std::string_view key, double least, double most);

  void finish() const;

 private:
  const platform::Value::Dictionary& entries_;
  std::array<std::string_view, 24> known_{};
  std::size_t knownCount_ = 0;
  std::size_t foundCount_ = 0;
};

}  // namespace korvani::replay
