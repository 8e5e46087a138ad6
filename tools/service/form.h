// The body of a request as the kit writes it: "key=value" pairs joined with "&", a space as "+",
// other bytes as "%XX". Read from the raw bytes, since the kit sends no content type.
#pragma once

#include <map>
#include <string>
#include <string_view>

namespace korvani::service {

using Parameters = std::map<std::string, std::string>;

// A pair without "=" has an empty value, an empty pair is skipped, and of a repeated key the last
// counts. A "%" without two hexadecimal digits stands for itself. The result may hold any bytes.
Parameters decodeForm(std::string_view body);

}  // namespace korvani::service
