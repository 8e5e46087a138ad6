// The live page, page.html, as the build puts it into the program.
#pragma once

#include <string_view>

namespace korvani::service {

extern const std::string_view kPage;

}  // namespace korvani::service
