// One look for the library, and one for each function.
#include <dlfcn.h>
#include <korvani/qt/libcurl.h>

#include <mutex>

namespace korvani::qt {

namespace {

LibCurl library;

bool load() {
  void* const file = ::dlopen("libcurl.so.4", RTLD_LAZY | RTLD_LOCAL);
  if (file == nullptr) return false;
#define KORVANI_FIND(name)                                                               \
  library.name = reinterpret_cast<decltype(library.name)>(::dlsym(file, "curl_" #name)); \
  if (library.name == nullptr) return false;
  KORVANI_CURL_FUNCTIONS(KORVANI_FIND)
#undef KORVANI_FIND
  return true;
}

}  // namespace

std::optional<std::string> loadLibCurl() {
  static std::mutex mutex;
  static bool isLoaded = false;
  const std::lock_guard lock(mutex);
  if (isLoaded) return std::nullopt;
  if (!load()) {
    const char* const reason = ::dlerror();
    return std::string("libcurl cannot be loaded: ") + (reason != nullptr ? reason : "no reason");
  }
  isLoaded = library.global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
  if (!isLoaded) return "libcurl cannot be started";
  return std::nullopt;
}

const LibCurl& libCurl() { return library; }

}  // namespace korvani::qt
