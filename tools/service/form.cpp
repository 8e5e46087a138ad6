// Decoding of a form body, byte by byte; nothing here can fail.
#include "form.h"

#include <algorithm>

namespace korvani::service {
namespace {

int hexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

std::string decodeText(std::string_view text) {
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const int high = i + 2 < text.size() ? hexDigit(text[i + 1]) : -1;
    const int low = high >= 0 ? hexDigit(text[i + 2]) : -1;
    if (text[i] == '%' && low >= 0) {
      decoded += static_cast<char>(high * 16 + low);
      i += 2;
    } else {
      decoded += text[i] == '+' ? ' ' : text[i];
    }
  }
  return decoded;
}

}  // namespace

Parameters decodeForm(std::string_view body) {
  Parameters parameters;
  while (!body.empty()) {
    const std::string_view pair = body.substr(0, body.find('&'));
    body.remove_prefix(std::min(pair.size() + 1, body.size()));
    if (pair.empty()) continue;
    const std::size_t equals = std::min(pair.find('='), pair.size());
    const std::string_view value = pair.substr(std::min(equals + 1, pair.size()));
    parameters[decodeText(pair.substr(0, equals))] = decodeText(value);
  }
  return parameters;
}

}  // namespace korvani::service
