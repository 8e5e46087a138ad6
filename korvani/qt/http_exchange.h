// One HTTP request and its answer, on a libcurl handle.
#pragma once

#include <korvani/platform/url_connection.h>
#include <korvani/qt/libcurl.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace korvani::qt {

/// http and https only, and at most 10 redirects. A request that is no download goes out once: an
/// answer that does not come is an error, where libcurl would send it again on a new connection.
/// Made on any thread; the rest is for the one of the transfers, where libcurl has been loaded.
class HttpExchange {
 public:
  /// Throws nothing.
  using Finished = std::function<void(platform::URLResponse)>;
  struct Free {
    void operator()(CURL* handle) const { libCurl().easy_cleanup(handle); }
  };
  using Handle = std::unique_ptr<CURL, Free>;

  /// For one exchange after another, each of which has so much time from its request to the end of
  /// its answer. `mappedHosts` (see CURLOPT_CONNECT_TO) outlives the handle; null for none.
  static Handle newHandle(std::chrono::milliseconds time, curl_slist* mappedHosts);

  /// `longest` in bytes, for the head of the answer and for its body each.
  HttpExchange(platform::URLRequest request, std::size_t longest, Finished finished);
  HttpExchange(const HttpExchange&) = delete;
  HttpExchange& operator=(const HttpExchange&) = delete;

  /// Why the request cannot be sent at all, for people; null for nothing.
  const char* flaw() const;
  /// Takes the handle and tells it all of this request. Throws std::bad_alloc.
  void prepare(Handle handle);
  CURL* handle() const { return handle_.get(); }

  /// Ends the exchange with what became of the transfer, or with an error of its own; needs no
  /// memory for it.
  void finish(CURLcode result);
  void fail(std::string_view error);
  void failForWantOfMemory() { fail("no memory for the request"); }

  /// Once it has ended, for the next.
  Handle releaseHandle();

 private:
  void setMethod();
  void setHeaders();
  std::string_view errorText(CURLcode result) const;

  static std::size_t headerReceived(char* data, std::size_t size, std::size_t count, void* self);
  static std::size_t bodyReceived(char* data, std::size_t size, std::size_t count, void* self);
  static int requestIsDue(void* self, char*, char*, int, int);
  static curl_socket_t openSocket(void*, curlsocktype, curl_sockaddr* address);

  const platform::URLRequest request_;
  const std::size_t longest_;
  const Finished finished_;
  platform::URLResponse response_;
  /// Has room for any error from the start: there may be none when it is needed.
  std::string error_;
  std::size_t received_ = 0;
  bool headIsWhole_ = false;
  long sent_ = 0;
  /// What stopped the exchange from our side.
  const char* stopped_ = nullptr;
  std::array<char, CURL_ERROR_SIZE> errorBuffer_{};
  std::vector<std::string> headerLines_;
  std::vector<curl_slist> headers_;
  Handle handle_;
};

}  // namespace korvani::qt
