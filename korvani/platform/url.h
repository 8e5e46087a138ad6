// A text that is known to be a URL.
#pragma once

#include <korvani/platform/export.h>

#include <optional>
#include <string>
#include <string_view>

namespace korvani::platform {

class KORVANI_EXPORT URL {
 public:
  /// From a URI reference by RFC 3986, the empty text included; nothing from any other text (a
  /// space, a letter outside ASCII, a stray percent sign). Nothing is escaped for the sender.
  static std::optional<URL> URLWithString(std::string_view text);

  const std::string& absoluteString() const { return text_; }
  friend bool operator==(const URL&, const URL&) = default;

 private:
  explicit URL(std::string_view text) : text_(text) {}
  std::string text_;
};

}  // namespace korvani::platform
