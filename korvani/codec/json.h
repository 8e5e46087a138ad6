// Reading JSON (RFC 8259) into values, for every phone and for the tools.
#pragma once

#include <korvani/platform/json.h>

#include <optional>
#include <string>
#include <string_view>

namespace korvani::codec {

/// The JSON port. Besides what is no JSON at all it refuses, with null, what the format leaves to
/// the reader: an escaped half of a surrogate pair, and a number beyond the range of a double.
/// Integers of up to 64 bits keep every digit; longer ones become reals.
class JSON : public platform::JSONSerialization {
 public:
  platform::Value JSONObjectWithData(std::string_view data) const override;
};

/// Any one JSON value, within the same limits; nothing when the text is none, and then `error` says
/// why, for people. Any thread.
std::optional<platform::Value> parseJSON(std::string_view text, std::string& error);

}  // namespace korvani::codec
