// Strict reading of objects. A place is named only once something is wrong: good input, which may
// be a day of beacons, pays nothing for it.
#include "fields.h"

#include <algorithm>
#include <cmath>

namespace korvani::replay {

using platform::Value;

namespace {

std::string numberText(double number) {
  return std::abs(number) < 1e15 && number == std::trunc(number)
             ? std::to_string(static_cast<std::int64_t>(number))
             : Value(number).jsonText();
}

/// Reads one key's value, naming the key if that fails.
template <typename Read>
auto named(std::string_view key, Read read) {
  try {
    return read();
  } catch (const ScriptError& error) {
    throw ScriptError(quoted(key) + ": " + error.what());
  }
}

}  // namespace

std::string quoted(std::string_view text) { return Value(text).jsonText(); }

void within(std::string_view place, const std::function<void()>& read) {
  try {
    read();
  } catch (const ScriptError& error) {
    throw ScriptError(std::string(place) + ": " + error.what());
  }
}

std::string asText(const Value& value) {
  if (!value.text()) throw ScriptError("must be a text");
  return *value.text();
}

bool asBoolean(const Value& value) {
  if (!value.boolean()) throw ScriptError("must be true or false");
  return *value.boolean();
}

std::int64_t asInteger(const Value& value, std::int64_t least, std::int64_t most) {
  if (!value.integer() || *value.integer() < least || *value.integer() > most) {
    throw ScriptError("must be an integer from " + std::to_string(least) + " to " +
                      std::to_string(most));
  }
  return *value.integer();
}

double asNumber(const Value& value, double least, double most) {
  double number = 0;
  if (value.integer()) {
    number = static_cast<double>(*value.integer());
  } else if (value.largeInteger()) {
    number = static_cast<double>(*value.largeInteger());
  } else if (value.real()) {
    number = *value.real();
  } else {
    throw ScriptError("must be a number");
  }
  if (!(number >= least && number <= most)) {
    throw ScriptError("must be a number from " + numberText(least) + " to " + numberText(most));
  }
  return number;
}

const Value::Array& asList(const Value& value) {
  if (!value.array()) throw ScriptError("must be a list");
  return *value.array();
}

const Value::Dictionary& asObject(const Value& value) {
  if (!value.dictionary()) throw ScriptError("must be an object");
  return *value.dictionary();
}

const Value* Fields::find(std::string_view key) {
  known_.at(knownCount_++) = key;
  const auto found = entries_.find(key);
  if (found == entries_.end()) return nullptr;
  ++foundCount_;
  return &found->second;
}

const Value& Fields::get(std::string_view key) {
  const Value* value = find(key);
  if (!value) throw ScriptError(quoted(key) + " is missing");
  return *value;
}

std::string Fields::text(std::string_view key) {
  const Value& value = get(key);
  return named(key, [&] { return asText(value); });
}

std::optional<std::string> Fields::textOrNull(std::string_view key) {
  const Value& value = get(key);
  if (value.isNull()) return std::nullopt;
  if (!value.text()) throw ScriptError(quoted(key) + ": must be a text or null");
  return *value.text();
}

bool Fields::boolean(std::string_view key) {
  const Value& value = get(key);
  return named(key, [&] { return asBoolean(value); });
}

bool Fields::boolean(std::string_view key, bool otherwise) {
  const Value* value = find(key);
  return value ? named(key, [&] { return asBoolean(*value); }) : otherwise;
}

std::int64_t Fields::integer(std::string_view key, std::int64_t least, std::int64_t most) {
  const Value& value = get(key);
  return named(key, [&] { return asInteger(value, least, most); });
}

double Fields::number(std::string_view key, double least, double most) {
  const Value& value = get(key);
  return named(key, [&] { return asNumber(value, least, most); });
}

void Fields::finish() const {
  if (foundCount_ == entries_.size()) return;
  const auto end = known_.begin() + static_cast<std::ptrdiff_t>(knownCount_);
  for (const auto& [key, value] : entries_) {
    if (std::find(known_.begin(), end, key) == end) {
      throw ScriptError("unknown key " + quoted(key));
    }
  }
}

}  // namespace korvani::replay
