// Reading of JSON, with a place for all that is wrong.
#include "reading.h"

#include <algorithm>
#include <stdexcept>

namespace korvani::service {

constexpr int kMostDepth = 100;

void fail(const std::string& place, const std::string& what) {
  throw std::runtime_error(place + ": " + what);
}

Json parseJson(std::string_view text) {
  const auto isShallow = [](int depth, Json::parse_event_t, const Json&) {
    if (depth > kMostDepth) fail("the text", "is nested too deeply");
    return true;
  };
  try {
    return Json::parse(text, isShallow, true, true);
  } catch (const Json::exception& error) {
    const std::string_view what = error.what();  // "[json.exception.parse_error.101] parse error…"
    throw std::runtime_error(std::string(what.substr(what.find("] ") + 2)));
  }
}

void requireObject(const Json& value, const std::string& place,
                   std::initializer_list<std::string_view> keys) {
  if (!value.is_object()) fail(place, "is not an object");
  for (const auto& [key, unused] : value.items()) {
    if (std::find(keys.begin(), keys.end(), key) == keys.end()) {
      fail(place, "has an unknown key " + Json(key).dump());
    }
  }
}

std::string readText(const Json& object, const char* key, const std::string& place) {
  const Json value = object.value(key, Json());
  if (!value.is_string()) fail(place, std::string(key) + " is not a text");
  return value.get<std::string>();
}

std::uint64_t readInteger(const Json& object, const char* key, std::uint64_t most,
                          const std::string& place) {
  const Json value = object.value(key, Json());
  if (!value.is_number_unsigned() || value.get<std::uint64_t>() > most) {
    fail(place, std::string(key) + " is not a number from 0 to " + std::to_string(most));
  }
  return value.get<std::uint64_t>();
}

}  // namespace korvani::service
