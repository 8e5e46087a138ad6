// The options of a transfer: what goes out, what may come back, and how failure is told.
#include <korvani/qt/http_exchange.h>
#include <strings.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <string_view>

namespace korvani::qt {

namespace {

constexpr long kRedirects = 10;

/// The characters of a method or of a header's name (RFC 9110, "token").
bool isToken(std::string_view text) {
  constexpr std::string_view kOthers = "!#$%&'*+-.^_`|~";
  return !text.empty() && std::all_of(text.begin(), text.end(), [&](char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
           kOthers.find(c) != std::string_view::npos;
  });
}

bool breaksLine(std::string_view text) {
  return text.find_first_of(std::string_view("\r\n\0", 3)) != std::string_view::npos;
}

bool isBlank(std::string_view text) {
  return text.find_first_not_of(" \t") == std::string_view::npos;
}

std::optional<std::string> flawOfUrl(const std::string& text) {
  if (!platform::URL::URLWithString(text)) return "the address is no URL";
  CURLU* url = libCurl().url();
  const CURLUcode result = libCurl().url_set(url, CURLUPART_URL, text.c_str(), 0);
  libCurl().url_cleanup(url);
  if (result == CURLUE_OK) return std::nullopt;
  return std::string("the address cannot be used: ") + libCurl().url_strerror(result);
}

std::optional<std::string> flawOf(const platform::URLRequest& request) {
  if (!libCurl().isLoaded) return "libcurl is not installed";
  if (!isToken(request.HTTPMethod)) return "the method is no HTTP method";
  for (const auto& [name, value] : request.headers) {
    if (!isToken(name)) return "a header's name has characters that HTTP does not allow";
    if (breaksLine(value)) return "the value of header " + name + " has a line break";
  }
  return flawOfUrl(request.url);
}

}  // namespace

HttpExchange::HttpExchange(platform::URLRequest request, Limits limits, curl_slist* mappedHosts,
                           Finished finished)
    : request_(std::move(request)),
      limits_(limits),
      finished_(std::move(finished)),
      flaw_(flawOf(request_)) {
  if (flaw_) return;
  handle_.reset(libCurl().easy_init());
  if (!handle_) {
    flaw_ = "no memory for the request";
    return;
  }
  CURL* curl = handle_.get();
  libCurl().easy_setopt(curl, CURLOPT_URL, request_.url.c_str());
  libCurl().easy_setopt(curl, CURLOPT_CONNECT_TO, mappedHosts);
  libCurl().easy_setopt(curl, CURLOPT_PRIVATE, this);
  libCurl().easy_setopt(curl, CURLOPT_ERRORBUFFER, errorBuffer_);
  setLimits();
  setMethod();
  setHeaders();
}

void HttpExchange::setLimits() {
  CURL* curl = handle_.get();
  libCurl().easy_setopt(curl, CURLOPT_PROTOCOLS_STR, "http,https");
  libCurl().easy_setopt(curl, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  libCurl().easy_setopt(curl, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  libCurl().easy_setopt(curl, CURLOPT_FOLLOWLOCATION, 1L);
  libCurl().easy_setopt(curl, CURLOPT_MAXREDIRS, kRedirects);
  libCurl().easy_setopt(curl, CURLOPT_TIMEOUT_MS, static_cast<long>(limits_.time.count()));
  libCurl().easy_setopt(curl, CURLOPT_HEADERFUNCTION, &headerReceived);
  libCurl().easy_setopt(curl, CURLOPT_HEADERDATA, this);
  libCurl().easy_setopt(curl, CURLOPT_WRITEFUNCTION, &bodyReceived);
  libCurl().easy_setopt(curl, CURLOPT_WRITEDATA, this);
  libCurl().easy_setopt(curl, CURLOPT_OPENSOCKETFUNCTION, &openSocket);
  libCurl().easy_setopt(curl, CURLOPT_NOSIGNAL, 1L);
  // The end of the process does not wait for the name service.
  libCurl().easy_setopt(curl, CURLOPT_QUICK_EXIT, 1L);
}

void HttpExchange::setMethod() {
  if (request_.HTTPMethod == "GET" && !request_.HTTPBody) return;
  CURL* curl = handle_.get();
  const std::string_view body =
      request_.HTTPBody ? std::string_view(*request_.HTTPBody) : std::string_view();
  libCurl().easy_setopt(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
  libCurl().easy_setopt(curl, CURLOPT_POSTFIELDS, body.empty() ? "" : body.data());
  if (request_.HTTPMethod != "POST") {
    libCurl().easy_setopt(curl, CURLOPT_CUSTOMREQUEST, request_.HTTPMethod.c_str());
  }
  libCurl().easy_setopt(curl, CURLOPT_PREREQFUNCTION, &requestIsDue);
  libCurl().easy_setopt(curl, CURLOPT_PREREQDATA, this);
}

void HttpExchange::setHeaders() {
  const auto append = [this](const std::string& line) {
    if (curl_slist* longer = libCurl().slist_append(headers_.get(), line.c_str())) {
      static_cast<void>(headers_.release());
      headers_.reset(longer);
    } else {
      flaw_ = "no memory for the request";
    }
  };
  const auto given = [this](const char* name) {
    return std::any_of(request_.headers.begin(), request_.headers.end(), [&](const auto& header) {
      return ::strcasecmp(header.first.c_str(), name) == 0;
    });
  };
  // libcurl would add these by itself; a name and a colon alone leaves one out.
  for (const char* name : {"Accept", "Content-Type", "Expect", "User-Agent"}) {
    if (!given(name)) append(std::string(name) + ":");
  }
  // An empty one is sent when its name ends with a semicolon.
  for (const auto& [name, value] : request_.headers) {
    append(isBlank(value) ? name + ";" : name + ": " + value);
  }
  libCurl().easy_setopt(handle_.get(), CURLOPT_HTTPHEADER, headers_.get());
}

void HttpExchange::finish(CURLcode result) {
  if (result != CURLE_OK) return fail(errorText(result));
  // libcurl takes a head that breaks off for a whole one.
  if (!headIsWhole_) return fail("the answer broke off");
  long status = 0;
  libCurl().easy_getinfo(handle_.get(), CURLINFO_RESPONSE_CODE, &status);
  response_.statusCode = static_cast<int>(status);
  finished_(std::move(response_));
}

void HttpExchange::fail(std::string error) {
  response_.error = std::move(error);
  finished_(std::move(response_));
}

std::string HttpExchange::errorText(CURLcode result) const {
  if (stopped_ != nullptr) return stopped_;
  return errorBuffer_[0] != '\0' ? errorBuffer_ : libCurl().easy_strerror(result);
}

std::size_t HttpExchange::headerReceived(char* data, std::size_t size, std::size_t count,
                                         void* self) {
  auto* exchange = static_cast<HttpExchange*>(self);
  const std::string_view line(data, size * count);
  if (line.starts_with("HTTP/")) exchange->headIsWhole_ = false;
  if (line == "\r\n" || line == "\n") exchange->headIsWhole_ = true;
  exchange->received_ += line.size();
  if (exchange->received_ <= exchange->limits_.bytes) return size * count;
  exchange->stopped_ = "the answer is too long";
  return 0;
}

std::size_t HttpExchange::bodyReceived(char* data, std::size_t size, std::size_t count,
                                       void* self) {
  auto* exchange = static_cast<HttpExchange*>(self);
  std::string& body = exchange->response_.data;
  if (size * count > exchange->limits_.bytes - body.size()) {
    exchange->stopped_ = "the answer is too long";
    return 0;
  }
  body.append(data, size * count);
  return size * count;
}

int HttpExchange::requestIsDue(void* self, char*, char*, int, int) {
  auto* exchange = static_cast<HttpExchange*>(self);
  long redirects = 0;
  libCurl().easy_getinfo(exchange->handle(), CURLINFO_REDIRECT_COUNT, &redirects);
  if (exchange->sent_++ <= redirects) return CURL_PREREQFUNC_OK;
  exchange->stopped_ = "the connection was lost before an answer came";
  return CURL_PREREQFUNC_ABORT;
}

curl_socket_t HttpExchange::openSocket(void*, curlsocktype, curl_sockaddr* address) {
  return ::socket(address->family, address->socktype | SOCK_CLOEXEC, address->protocol);
}

}  // namespace korvani::qt
