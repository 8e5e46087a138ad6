// The body of a request: form-encoded text parameters.
#pragma once

#include <korvani/sdk/korvani.h>

#include <string>
#include <string_view>

namespace korvani {

/// "key=value" pairs in the record's order, joined with "&"; keys stand as they are.
std::string httpBodyForParamsDictionary(const Record& parameters);

/// ASCII letters, digits and - . _ ~ stay, a space becomes +, and every other character becomes %XX
/// for each byte of its UTF-8 form. Bytes that are no UTF-8 go out as U+FFFD.
std::string percentEscapeString(std::string_view text);

}  // namespace korvani
