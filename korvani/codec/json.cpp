// JSON through nlohmann-json's event parser: the values are built directly, without a tree of the
// library's own in between. Nothing here recurses, so a hostile depth costs no stack.
#include <korvani/codec/json.h>

#include <exception>
#include <nlohmann/json.hpp>
#include <utility>
#include <vector>

namespace korvani::codec {
namespace {

using nlohmann::json;
using platform::Value;

constexpr std::size_t kMaximumBytes = std::size_t{16} * 1024 * 1024;
constexpr std::size_t kMaximumDepth = 512;

/// Receives the parser's events; each returns whether to go on.
class ValueBuilder {
 public:
  bool null() { return add(Value()); }
  bool boolean(bool value) { return add(value); }
  bool number_integer(json::number_integer_t value) { return add(value); }
  bool number_unsigned(json::number_unsigned_t value) { return add(value); }
  bool number_float(json::number_float_t value, const std::string&) { return add(value); }
  bool string(std::string& value) { return add(std::string_view(value)); }
  bool binary(json::binary_t&) { return false; }

  bool start_object(std::size_t) { return open(true); }
  bool key(std::string& key) {
    open_.back().key = key;
    return true;
  }
  bool end_object() {
    Value::Dictionary entries = std::move(open_.back().entries);
    open_.pop_back();
    return add(std::move(entries));
  }

  bool start_array(std::size_t) { return open(false); }
  bool end_array() {
    Value::Array items = std::move(open_.back().items);
    open_.pop_back();
    return add(std::move(items));
  }

  bool parse_error(std::size_t, const std::string&, const json::exception& exception) {
    error = exception.what();
    // The library puts its own name for the error, in brackets, before the text.
    if (const auto bracket = error.find("] "); bracket != std::string::npos) {
      error.erase(0, bracket + 2);
    }
    return false;
  }

  Value result;
  std::string error;

 private:
  struct Container {
    bool isDictionary = false;
    std::string key;
    Value::Dictionary entries;
    Value::Array items;
  };

  bool open(bool isDictionary) {
    if (open_.size() == kMaximumDepth) {
      error = "deeper than 512 levels";
      return false;
    }
    open_.emplace_back().isDictionary = isDictionary;
    return true;
  }

  bool add(Value value) {
    if (open_.empty()) {
      result = std::move(value);
    } else if (Container& container = open_.back(); container.isDictionary) {
      container.entries.insert_or_assign(std::move(container.key), std::move(value));
    } else {
      container.items.push_back(std::move(value));
    }
    return true;
  }

  std::vector<Container> open_;
};

}  // namespace

std::optional<Value> parseJSON(std::string_view text, std::string& error) {
  if (text.size() > kMaximumBytes) {
    error = "longer than 16 MiB";
    return std::nullopt;
  }
  // The parser would take a NUL for the end of the text and ignore what follows.
  if (text.find('\0') != std::string_view::npos) {
    error = "a NUL byte in the text";
    return std::nullopt;
  }
  try {
    ValueBuilder builder;
    if (json::sax_parse(text.data(), text.data() + text.size(), &builder)) {
      return std::move(builder.result);
    }
    error = std::move(builder.error);
  } catch (const std::exception& exception) {
    error = exception.what();
  }
  return std::nullopt;
}

Value JSON::JSONObjectWithData(std::string_view data) const {
  std::string error;
  const std::optional<Value> value = parseJSON(data, error);
  return value && (value->dictionary() || value->array()) ? *value : Value();
}

}  // namespace korvani::codec
