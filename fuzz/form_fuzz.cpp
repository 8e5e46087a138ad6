// Form bodies: what the kit encodes, the service reads back, and any other body is read as well.
#include <korvani/net/form_encoding.h>
#include <korvani/platform/utf8.h>

#include <algorithm>

#include "form.h"
#include "input.h"

using korvani::fuzz::require;

namespace {

/// What a text becomes on its way: bytes that are no UTF-8 are replaced.
std::string sent(std::string_view text) {
  std::string result;
  while (!text.empty()) {
    const std::size_t length = korvani::platform::utf8SequenceLength(text);
    result += length == 0 ? "\xEF\xBF\xBD" : text.substr(0, length);
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return result;
}

bool isPlain(char c) {
  return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
         std::string_view("-._~+%").find(c) != std::string_view::npos;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  korvani::fuzz::Input input(bytes, size);
  const std::string first = input.piece();
  const std::string second = input.rest();

  const korvani::Record record{{"first", first}, {"second", second}};
  const std::string body = korvani::httpBodyForParamsDictionary(record);
  const korvani::service::Parameters expected{{"first", sent(first)}, {"second", sent(second)}};
  require(korvani::service::decodeForm(body) == expected, "the service reads what the kit wrote");
  const std::string escaped = korvani::percentEscapeString(second);
  require(std::all_of(escaped.begin(), escaped.end(), isPlain), "nothing in a value ends it");

  korvani::service::Parameters again;
  for (const auto& [key, value] : korvani::service::decodeForm(second)) {
    const auto name = korvani::service::decodeForm(korvani::percentEscapeString(key) + "=");
    require(key.empty() || (name.size() == 1 && name.begin()->first == sent(key)),
            "a key survives being written again");
    again.emplace(sent(key), sent(value));
  }
  std::string written;
  for (const auto& [key, value] : again) {
    written += '&' + korvani::percentEscapeString(key) + '=' + korvani::percentEscapeString(value);
  }
  require(korvani::service::decodeForm(written) == again, "a body survives being written again");
  return 0;
}
