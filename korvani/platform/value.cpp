// Readings and renderings of values.
#include <korvani/platform/utf8.h>
#include <korvani/platform/value.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

namespace korvani::platform {
namespace {

bool booleanReadingOfText(std::string_view text) {
  const auto skip = [&text](std::string_view characters) {
    const std::size_t first = text.find_first_not_of(characters);
    text.remove_prefix(std::min(first, text.size()));
  };
  skip(" \t\n\v\f\r");
  if (text.starts_with('+') || text.starts_with('-')) text.remove_prefix(1);
  skip("0");
  return !text.empty() && std::string_view("YyTt123456789").find(text.front()) != text.npos;
}

/// Appends the escape of a control character or line separator.
void appendControl(std::string& out, unsigned control) {
  static constexpr char kDigits[] = "0123456789abcdef";
  switch (control) {
    case '\b':
      out += "\\b";
      return;
    case '\t':
      out += "\\t";
      return;
    case '\n':
      out += "\\n";
      return;
    case '\f':
      out += "\\f";
      return;
    case '\r':
      out += "\\r";
      return;
    default:
      out += "\\u";
      out += kDigits[control >> 12];
      out += kDigits[control >> 8 & 15];
      out += kDigits[control >> 4 & 15];
      out += kDigits[control & 15];
  }
}

/// The control character or line separator that the text begins with: what could end a line or
/// command a terminal.
std::optional<unsigned> controlAt(std::string_view text, std::size_t length) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  if (length == 1 && (byte(0) < 0x20 || byte(0) == 0x7F)) return byte(0);
  if (length == 2 && byte(0) == 0xC2 && byte(1) < 0xA0) return byte(1);
  if (length == 3 && text.starts_with("\xE2\x80") && (byte(2) == 0xA8 || byte(2) == 0xA9)) {
    return 0x2000U + byte(2) - 0x80U;
  }
  return std::nullopt;
}

/// Appends the text with controls escaped and invalid bytes replaced; quotes and backslashes are
/// escaped as well when it is to stand in JSON.
void appendText(std::string& out, std::string_view text, bool forJson) {
  while (!text.empty()) {
    const auto first = static_cast<unsigned char>(text.front());
    std::size_t length = utf8SequenceLength(text);
    if (length == 0) {
      out += "\xEF\xBF\xBD";
      length = 1;
    } else if (const auto control = controlAt(text, length)) {
      appendControl(out, *control);
    } else {
      if (forJson && (first == '"' || first == '\\')) out += '\\';
      out += text.substr(0, length);
    }
    text.remove_prefix(length);
  }
}

template <typename Number, typename... Format>
void appendNumber(std::string& out, Number number, Format... format) {
  std::array<char, 400> digits;  // A real close to 0 takes some 330.
  const auto end =
      std::to_chars(digits.data(), digits.data() + digits.size(), number, format...).ptr;
  out.append(digits.data(), end);
}

void appendReal(std::string& out, double real, std::string_view null) {
  if (!std::isfinite(real)) {
    out += null;
    return;
  }
  const std::size_t start = out.size();
  appendNumber(out, real, std::chars_format::fixed);
  // A real stays one when it is read again.
  if (out.find('.', start) == out.npos) out += ".0";
}

void appendJson(std::string& out, const Value& value, std::string_view null) {
  if (const auto* boolean = value.boolean()) {
    out += *boolean ? "true" : "false";
  } else if (const auto* integer = value.integer()) {
    appendNumber(out, *integer);
  } else if (const auto* large = value.largeInteger()) {
    appendNumber(out, *large);
  } else if (const auto* real = value.real()) {
    appendReal(out, *real, null);
  } else if (const auto* text = value.text()) {
    out += '"';
    appendText(out, *text, true);
    out += '"';
  } else if (const auto* date = value.date()) {
    out += '"';
    out += ISO8601Text(*date);
    out += '"';
  } else if (const auto* array = value.array()) {
    char separator = '[';
    for (const Value& element : *array) {
      out += std::exchange(separator, ',');
      appendJson(out, element, null);
    }
    out += array->empty() ? "[]" : "]";
  } else if (const auto* dictionary = value.dictionary()) {
    char separator = '{';
    for (const auto& [key, element] : *dictionary) {
      out += std::exchange(separator, ',');
      out += '"';
      appendText(out, key, true);
      out += "\":";
      appendJson(out, element, null);
    }
    out += dictionary->empty() ? "{}" : "}";
  } else {
    out += null;
  }
}

}  // namespace

Value::Value(Array array) : content_(std::make_shared<const Array>(std::move(array))) {}
Value::Value(Dictionary dictionary)
    : content_(std::make_shared<const Dictionary>(std::move(dictionary))) {}

const Value::Array* Value::array() const {
  const auto* shared = std::get_if<std::shared_ptr<const Array>>(&content_);
  return shared ? shared->get() : nullptr;
}

const Value::Dictionary* Value::dictionary() const {
  const auto* shared = std::get_if<std::shared_ptr<const Dictionary>>(&content_);
  return shared ? shared->get() : nullptr;
}

bool Value::has(std::string_view key) const {
  const Dictionary* entries = dictionary();
  return entries && entries->find(key) != entries->end();
}

const Value& Value::at(std::string_view key) const {
  static const Value& null = *new Value;
  const Dictionary* entries = dictionary();
  if (!entries) return null;
  const auto found = entries->find(key);
  return found == entries->end() ? null : found->second;
}

Value Value::with(std::string_view key, Value value) const {
  Dictionary entries = isDictionary() ? *dictionary() : Dictionary{};
  entries.insert_or_assign(std::string(key), std::move(value));
  return entries;
}

Value Value::without(std::initializer_list<std::string_view> keys) const {
  if (!isDictionary()) return *this;
  Dictionary entries = *dictionary();
  for (const std::string_view key : keys) {
    if (const auto found = entries.find(key); found != entries.end()) entries.erase(found);
  }
  return entries;
}

bool Value::booleanReading() const {
  if (const auto* held = boolean()) return *held;
  if (const auto* held = integer()) return *held != 0;
  if (largeInteger()) return true;
  if (const auto* held = real()) return *held != 0;
  if (const auto* held = text()) return booleanReadingOfText(*held);
  return false;
}

std::string Value::jsonText() const {
  std::string out;
  appendJson(out, *this, "null");
  return out;
}

std::string Value::plainText() const { return text() ? *text() : jsonText(); }

std::string Value::description() const {
  std::string out;
  if (const std::string* held = text()) {
    appendText(out, *held, false);
  } else {
    appendJson(out, *this, "(null)");
  }
  return out;
}

bool operator==(const Value& a, const Value& b) {
  if (const auto* entries = a.dictionary()) return b.dictionary() && *entries == *b.dictionary();
  if (const auto* elements = a.array()) return b.array() && *elements == *b.array();
  return a.content_ == b.content_;
}

}  // namespace korvani::platform
