// Strict reading of JSON that people write: what is wrong is one line that names the place.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace korvani::service {

using Json = nlohmann::ordered_json;  // answers keep the order of the file

// All of these throw std::runtime_error.
[[noreturn]] void fail(const std::string& place, const std::string& what);

// Comments are allowed.
Json parseJson(std::string_view text);

// An object without other keys than these.
void requireObject(const Json& value, const std::string& place,
                   std::initializer_list<std::string_view> keys);

std::string readText(const Json& object, const char* key, const std::string& place);

// From 0 to that number.
std::uint64_t readInteger(const Json& object, const char* key, std::uint64_t most,
                          const std::string& place);

}  // namespace korvani::service
