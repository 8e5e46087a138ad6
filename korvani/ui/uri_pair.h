// A scenario's "uri": the URI to open, and the one to open when that fails.
#pragma once

#include <korvani/platform/url.h>
#include <korvani/platform/value.h>

#include <optional>

namespace korvani::ui {

/// The URL under a key; none when there is no text or the text makes no URL.
inline std::optional<platform::URL> urlAt(const platform::Value& dictionary, std::string_view key) {
  const std::string* text = dictionary.at(key).text();
  return text ? platform::URL::URLWithString(*text) : std::nullopt;
}

struct UriPair {
  explicit UriPair(const platform::Value& uri)
      : preferred(urlAt(uri, "default")), fallback(urlAt(uri, "fallback")) {}

  std::optional<platform::URL> preferred;
  std::optional<platform::URL> fallback;
};

}  // namespace korvani::ui
