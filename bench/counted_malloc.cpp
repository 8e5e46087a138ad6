// Stands in for the allocator of the whole process and counts what is in use: glibc's own figures
// hold what it keeps for later, which grows with threads and with time.
#include <bench/counted_malloc.h>
#include <malloc.h>

#include <atomic>
#include <cerrno>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* memory);
}

namespace {

std::atomic<std::size_t> inUse = 0;

void* counted(void* memory) {
  if (memory != nullptr) inUse += ::malloc_usable_size(memory);
  return memory;
}

}  // namespace

std::size_t korvani::bench::bytesInUse() { return inUse; }

extern "C" {

void* malloc(std::size_t size) { return counted(__libc_malloc(size)); }
void* calloc(std::size_t count, std::size_t size) { return counted(__libc_calloc(count, size)); }
void* realloc(void* memory, std::size_t size) {
  const std::size_t before = memory == nullptr ? 0 : ::malloc_usable_size(memory);
  void* const moved = __libc_realloc(memory, size);
  if (moved != nullptr || size == 0) inUse -= before;
  return counted(moved);
}
void* memalign(std::size_t alignment, std::size_t size) {
  return counted(__libc_memalign(alignment, size));
}
void* aligned_alloc(std::size_t alignment, std::size_t size) { return memalign(alignment, size); }
int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
  *memory = memalign(alignment, size);
  return *memory == nullptr ? ENOMEM : 0;
}
void free(void* memory) {
  if (memory != nullptr) inUse -= ::malloc_usable_size(memory);
  __libc_free(memory);
}
}
