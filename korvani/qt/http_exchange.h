// One HTTP request and its answer, as a libcurl handle.
#pragma once

#include <korvani/platform/url_connection.h>
#include <korvani/qt/libcurl.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace korvani::qt {

/// On any thread but the main one, one at a time. http and https only, and at most 10 redirects. A
/// request that is no download goes out once: an answer that does not come is an error, where
/// libcurl would send it again on a new connection.
class HttpExchange {
 public:
  using Finished = std::function<void(platform::URLResponse)>;
  /// Of the answer: of its head and of its body each, and from the request to its end.
  struct Limits {
    std::size_t bytes;
    std::chrono::milliseconds time;
  };

  /// `mappedHosts` (see CURLOPT_CONNECT_TO) outlives the exchange; null for none.
  HttpExchange(platform::URLRequest request, Limits limits, curl_slist* mappedHosts,
               Finished finished);
  HttpExchange(const HttpExchange&) = delete;
  HttpExchange& operator=(const HttpExchange&) = delete;

  /// Why the request cannot be sent at all, for people.
  const std::optional<std::string>& flaw() const { return flaw_; }
  CURL* handle() const { return handle_.get(); }

  /// Ends the exchange with what became of the transfer, or with an error of its own.
  void finish(CURLcode result);
  void fail(std::string error);

 private:
  struct Free {
    void operator()(CURL* handle) const { libCurl().easy_cleanup(handle); }
    void operator()(curl_slist* list) const { libCurl().slist_free_all(list); }
  };

  void setLimits();
  void setMethod();
  void setHeaders();
  std::string errorText(CURLcode result) const;

  static std::size_t headerReceived(char* data, std::size_t size, std::size_t count, void* self);
  static std::size_t bodyReceived(char* data, std::size_t size, std::size_t count, void* self);
  static int requestIsDue(void* self, char*, char*, int, int);
  static curl_socket_t openSocket(void*, curlsocktype, curl_sockaddr* address);

  const platform::URLRequest request_;
  const Limits limits_;
  const Finished finished_;
  platform::URLResponse response_;
  std::size_t received_ = 0;
  bool headIsWhole_ = false;
  long sent_ = 0;
  /// What stopped the exchange from our side.
  const char* stopped_ = nullptr;
  std::optional<std::string> flaw_;
  char errorBuffer_[CURL_ERROR_SIZE] = {};
  std::unique_ptr<curl_slist, Free> headers_;
  std::unique_ptr<CURL, Free> handle_;
};

}  // namespace korvani::qt
