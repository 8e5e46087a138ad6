// What all of this process, libraries included, has allocated and not freed.
#pragma once

#include <cstddef>

namespace korvani::bench {

std::size_t bytesInUse();

}  // namespace korvani::bench
