// Escaping by table: most bytes are copied.
#include <korvani/net/form_encoding.h>
#include <korvani/platform/utf8.h>

#include <array>
#include <cstdint>

namespace korvani {
namespace {

constexpr std::array<bool, 128> kUnescaped = [] {
  std::array<bool, 128> table{};
  for (const char c : std::string_view("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz"
                                       "0123456789-._~")) {
    table[static_cast<std::size_t>(c)] = true;
  }
  return table;
}();

void appendEscaped(std::string& out, std::string_view bytes) {
  static constexpr char kDigits[] = "0123456789ABCDEF";
  for (const char c : bytes) {
    const auto byte = static_cast<std::uint8_t>(c);
    out += '%';
    out += kDigits[byte >> 4];
    out += kDigits[byte & 15];
  }
}

void appendPercentEscaped(std::string& out, std::string_view text) {
  for (std::size_t i = 0; i < text.size();) {
    const auto byte = static_cast<std::uint8_t>(text[i]);
    std::size_t length = 1;
    if (byte < 0x80) {
      if (kUnescaped[byte]) {
        out += text[i];
      } else if (byte == ' ') {
        out += '+';
      } else {
        appendEscaped(out, text.substr(i, 1));
      }
    } else if (const std::size_t valid = platform::utf8SequenceLength(text.substr(i))) {
      length = valid;
      appendEscaped(out, text.substr(i, length));
    } else {
      appendEscaped(out, "\xEF\xBF\xBD");
    }
    i += length;
  }
}

}  // namespace

std::string httpBodyForParamsDictionary(const Record& parameters) {
  std::string body;
  for (const auto& [key, value] : parameters) {
    if (&key != &parameters.front().first) body += '&';
    body += key;
    body += '=';
    appendPercentEscaped(body, value);
  }
  return body;
}

std::string percentEscapeString(std::string_view text) {
  std::string escaped;
  appendPercentEscaped(escaped, text);
  return escaped;
}

}  // namespace korvani
