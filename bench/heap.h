// What a process holds of its heap.
#pragma once

#include <malloc.h>

#include <cstddef>

namespace korvani::bench {

/// In bytes: what was allocated and not freed, blocks that have a mapping of their own included.
inline std::size_t heapInUse() {
  const auto info = ::mallinfo2();
  return info.uordblks + info.hblkhd;
}

}  // namespace korvani::bench
