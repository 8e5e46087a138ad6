// libcurl, loaded with the first request: it stands on some thirty libraries, whose loading would
// double the time that a host takes to start.
#pragma once

#include <curl/curl.h>

#include <optional>
#include <string>

// clang-format off
#define KORVANI_CURL_FUNCTIONS(X)                                                             \
  X(easy_cleanup) X(easy_getinfo) X(easy_init) X(easy_setopt) X(easy_strerror) X(global_init) \
  X(multi_add_handle) X(multi_cleanup) X(multi_info_read) X(multi_init) X(multi_perform)      \
  X(multi_remove_handle) X(multi_strerror) X(multi_wait) X(slist_append) X(slist_free_all)
// clang-format on

namespace korvani::qt {

/// What we call of it, without "curl_".
struct LibCurl {
// NOLINTNEXTLINE(bugprone-macro-parentheses)
#define KORVANI_DECLARE(name) decltype(&::curl_##name) name = nullptr;
  KORVANI_CURL_FUNCTIONS(KORVANI_DECLARE)
#undef KORVANI_DECLARE
};

/// Loads it unless it is there, and then it stays: why it cannot be had now, or nothing. Any thread
/// but the main one.
std::optional<std::string> loadLibCurl();

/// For threads that have loaded it, and for what comes after them.
const LibCurl& libCurl();

}  // namespace korvani::qt
