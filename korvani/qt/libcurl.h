// libcurl, loaded with the first request: it stands on some thirty libraries, whose loading would
// double the time that a host takes to start.
#pragma once

#include <curl/curl.h>

// clang-format off
#define KORVANI_CURL_FUNCTIONS(X)                                                             \
  X(easy_cleanup) X(easy_getinfo) X(easy_init) X(easy_setopt) X(easy_strerror) X(global_init) \
  X(multi_add_handle) X(multi_cleanup) X(multi_info_read) X(multi_init) X(multi_perform)      \
  X(multi_poll) X(multi_remove_handle) X(multi_strerror) X(multi_wakeup)                      \
  X(slist_append) X(slist_free_all) X(url) X(url_cleanup) X(url_set) X(url_strerror)
// clang-format on

namespace korvani::qt {

/// What we call of it, without "curl_".
struct LibCurl {
// NOLINTNEXTLINE(bugprone-macro-parentheses)
#define KORVANI_DECLARE(name) decltype(&::curl_##name) name = nullptr;
  KORVANI_CURL_FUNCTIONS(KORVANI_DECLARE)
#undef KORVANI_DECLARE
  /// False where it is not installed: then there is nothing to call.
  bool isLoaded = false;
};

/// Any thread but the main one, as the first call loads it. It stays loaded.
const LibCurl& libCurl();

}  // namespace korvani::qt
