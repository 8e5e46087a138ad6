// One look for the library, and one for each function.
#include <dlfcn.h>
#include <korvani/qt/libcurl.h>

namespace korvani::qt {

namespace {

LibCurl load() {
  LibCurl library;
  void* const file = ::dlopen("libcurl.so.4", RTLD_LAZY | RTLD_LOCAL);
  if (file == nullptr) return library;
  library.isLoaded = true;
#define KORVANI_FIND(name)                                                               \
  library.name = reinterpret_cast<decltype(library.name)>(::dlsym(file, "curl_" #name)); \
  library.isLoaded = library.isLoaded && library.name != nullptr;
  KORVANI_CURL_FUNCTIONS(KORVANI_FIND)
#undef KORVANI_FIND
  if (library.isLoaded) library.global_init(CURL_GLOBAL_DEFAULT);
  return library;
}

}  // namespace

const LibCurl& libCurl() {
  static const LibCurl library = load();
  return library;
}

}  // namespace korvani::qt
