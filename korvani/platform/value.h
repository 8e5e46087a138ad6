// The one dynamic type: JSON answers, scenario records, stored values and the user information of
// notifications are made of it.
#pragma once

#include <korvani/platform/date.h>
#include <korvani/platform/export.h>

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace korvani::platform {

/// Null, boolean, number (integer or real, as it came), text (UTF-8), date, array or dictionary.
///
/// A value never changes in place: arrays and dictionaries are shared between copies, so a copy is
/// cheap and may cross threads. Comparison is by value; an integer never equals a real. No
/// operation throws but for lack of memory.
class KORVANI_EXPORT Value {
 public:
  using Array = std::vector<Value>;
  using Dictionary = std::map<std::string, Value, std::less<>>;

  Value() = default;
  Value(std::nullptr_t) {}
  Value(std::same_as<bool> auto boolean) : content_(boolean) {}
  /// Every integer of up to 64 bits keeps its digits.
  Value(std::integral auto number) requires(!std::same_as<decltype(number), bool>) {
    if constexpr (std::signed_integral<decltype(number)>) {
      content_ = static_cast<std::int64_t>(number);
    } else if (std::in_range<std::int64_t>(number)) {
      content_ = static_cast<std::int64_t>(number);
    } else {
      content_ = static_cast<std::uint64_t>(number);
    }
  }
  Value(double number) : content_(number) {}
  Value(std::string text) : content_(std::move(text)) {}
  Value(std::string_view text) : content_(std::string(text)) {}
  Value(const char* text) : content_(std::string(text)) {}
  Value(Date date) : content_(date) {}
  Value(Array array);
  Value(Dictionary dictionary);

  bool isNull() const { return std::holds_alternative<std::monostate>(content_); }
  bool isDictionary() const { return dictionary() != nullptr; }

  // Each answers null when the value is of another kind. What a pointer points to lives as long as
  // this value, and until it is assigned to; what stands in an array or a dictionary, as long as
  // some copy of it.
  const bool* boolean() const { return std::get_if<bool>(&content_); }
  const std::int64_t* integer() const { return std::get_if<std::int64_t>(&content_); }
  /// Only integers above the range of int64_t are held so.
  const std::uint64_t* largeInteger() const { return std::get_if<std::uint64_t>(&content_); }
  const double* real() const { return std::get_if<double>(&content_); }
  const std::string* text() const { return std::get_if<std::string>(&content_); }
  const Date* date() const { return std::get_if<Date>(&content_); }
  const Array* array() const;
  const Dictionary* dictionary() const;

  /// Is the key there, whatever its value, null included? False for what is no dictionary.
  bool has(std::string_view key) const;
  /// The value under the key, which lives as long as some copy of this one; null when there is
  /// none, or when this is no dictionary.
  const Value& at(std::string_view key) const;
  /// A copy with the key set; from what is no dictionary, a dictionary of that key alone.
  Value with(std::string_view key, Value value) const;
  /// A copy without the keys; what is no dictionary is copied as it is.
  Value without(std::initializer_list<std::string_view> keys) const;

  /// The boolean reading: a boolean itself; a number that is not 0; a text whose first significant
  /// character (after white space, a sign and zeros) is Y, y, T, t or a digit 1 to 9. All else is
  /// false.
  bool booleanReading() const;
  /// JSON text without white space, keys in order of their bytes; dates as ISO 8601 text; a real
  /// that JSON cannot tell as null; bytes that are no UTF-8 as U+FFFD.
  std::string jsonText() const;
  /// The text itself of a text, else the JSON text: how a value becomes a parameter or a message.
  std::string plainText() const;
  /// For log lines: a text as it stands, all else as JSON text in which null is written (null);
  /// control characters are escaped as in JSON, so a line stays one line.
  std::string description() const;

  friend KORVANI_EXPORT bool operator==(const Value& a, const Value& b);

 private:
  std::variant<std::monostate, bool, std::int64_t, std::uint64_t, double, std::string, Date,
               std::shared_ptr<const Array>, std::shared_ptr<const Dictionary>>
      content_;
};

}  // namespace korvani::platform
