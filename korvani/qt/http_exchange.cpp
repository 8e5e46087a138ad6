// The options of a transfer: what goes out, what may come back, and how failure is told.
#include <korvani/qt/http_exchange.h>
#include <strings.h>
#include <sys/socket.h>

#include <algorithm>
#include <new>
#include <utility>

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

bool isOfTheWeb(const std::string& url) {
  return ::strncasecmp(url.c_str(), "http:", 5) == 0 ||
         ::strncasecmp(url.c_str(), "https:", 6) == 0;
}

template <typename Value>
void set(CURL* handle, CURLoption option, Value value) {
  // An option that an old libcurl has not is done without.
  if (libCurl().easy_setopt(handle, option, value) == CURLE_OUT_OF_MEMORY) throw std::bad_alloc();
}

}  // namespace

HttpExchange::Handle HttpExchange::newHandle(std::chrono::milliseconds time,
                                             curl_slist* mappedHosts) {
  Handle handle(libCurl().easy_init());
  if (!handle) throw std::bad_alloc();
  CURL* curl = handle.get();
  set(curl, CURLOPT_CONNECT_TO, mappedHosts);
  set(curl, CURLOPT_PROTOCOLS_STR, "http,https");
  set(curl, CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
  set(curl, CURLOPT_HTTP_VERSION, static_cast<long>(CURL_HTTP_VERSION_1_1));
  set(curl, CURLOPT_FOLLOWLOCATION, 1L);
  set(curl, CURLOPT_MAXREDIRS, kRedirects);
  set(curl, CURLOPT_TIMEOUT_MS, static_cast<long>(time.count()));
  set(curl, CURLOPT_HEADERFUNCTION, &headerReceived);
  set(curl, CURLOPT_WRITEFUNCTION, &bodyReceived);
  set(curl, CURLOPT_OPENSOCKETFUNCTION, &openSocket);
  set(curl, CURLOPT_NOSIGNAL, 1L);
  // The end of the process does not wait for the name service.
  set(curl, CURLOPT_QUICK_EXIT, 1L);
  return handle;
}

HttpExchange::HttpExchange(platform::URLRequest request, std::size_t longest, Finished finished)
    : request_(std::move(request)), longest_(longest), finished_(std::move(finished)) {
  error_.reserve(errorBuffer_.size());
}

const char* HttpExchange::flaw() const {
  if (!isToken(request_.HTTPMethod)) return "the method is no HTTP method";
  for (const auto& [name, value] : request_.headers) {
    if (!isToken(name)) return "a header's name has characters that HTTP does not allow";
    if (breaksLine(value)) return "a header's value has a line break";
  }
  if (!platform::URL::URLWithString(request_.url)) return "the address is no URL";
  // libcurl would guess a scheme where none is given.
  if (!isOfTheWeb(request_.url)) return "the address is neither of http nor of https";
  return nullptr;
}

void HttpExchange::prepare(Handle handle) {
  handle_ = std::move(handle);
  CURL* curl = handle_.get();
  set(curl, CURLOPT_URL, request_.url.c_str());
  set(curl, CURLOPT_PRIVATE, this);
  set(curl, CURLOPT_HEADERDATA, this);
  set(curl, CURLOPT_WRITEDATA, this);
  set(curl, CURLOPT_ERRORBUFFER, errorBuffer_.data());
  setMethod();
  setHeaders();
}

void HttpExchange::setMethod() {
  CURL* curl = handle_.get();
  const bool isDownload = request_.HTTPMethod == "GET" && !request_.HTTPBody;
  set(curl, CURLOPT_PREREQFUNCTION, isDownload ? nullptr : &requestIsDue);
  set(curl, CURLOPT_PREREQDATA, this);
  const bool isCustom = !isDownload && request_.HTTPMethod != "POST";
  set(curl, CURLOPT_CUSTOMREQUEST, isCustom ? request_.HTTPMethod.c_str() : nullptr);
  if (isDownload) return set(curl, CURLOPT_HTTPGET, 1L);
  const std::string_view body =
      request_.HTTPBody ? std::string_view(*request_.HTTPBody) : std::string_view();
  set(curl, CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(body.size()));
  set(curl, CURLOPT_POSTFIELDS, body.empty() ? "" : body.data());
}

void HttpExchange::setHeaders() {
  const auto given = [this](const char* name) {
    return std::any_of(request_.headers.begin(), request_.headers.end(), [&](const auto& header) {
      return ::strcasecmp(header.first.c_str(), name) == 0;
    });
  };
  // libcurl would add these by itself; a name and a colon alone leaves one out.
  for (const char* name : {"Accept", "Content-Type", "Expect"}) {
    if (!given(name)) headerLines_.push_back(std::string(name) + ":");
  }
  // An empty one is sent when its name ends with a semicolon.
  for (const auto& [name, value] : request_.headers) {
    headerLines_.push_back(isBlank(value) ? name + ";" : name + ": " + value);
  }
  headers_.reserve(headerLines_.size());
  for (std::string& line : headerLines_) {
    curl_slist& added = headers_.emplace_back(curl_slist{line.data(), nullptr});
    if (headers_.size() > 1) headers_[headers_.size() - 2].next = &added;
  }
  set(handle_.get(), CURLOPT_HTTPHEADER, headers_.data());
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

void HttpExchange::fail(std::string_view error) {
  response_.error = std::move(error_.assign(error.substr(0, error_.capacity())));
  finished_(std::move(response_));
}

HttpExchange::Handle HttpExchange::releaseHandle() {
  libCurl().easy_setopt(handle_.get(), CURLOPT_ERRORBUFFER, nullptr);
  return std::move(handle_);
}

std::string_view HttpExchange::errorText(CURLcode result) const {
  if (stopped_ != nullptr) return stopped_;
  if (result == CURLE_OUT_OF_MEMORY) {
    // libcurl says so too of a line in the head of an answer that is longer than it takes.
    curl_off_t firstByte = 0;
    libCurl().easy_getinfo(handle_.get(), CURLINFO_STARTTRANSFER_TIME_T, &firstByte);
    return firstByte > 0 ? "no memory for the answer, or a line of its head is too long"
                         : "no memory for the request";
  }
  return errorBuffer_[0] != '\0' ? errorBuffer_.data() : libCurl().easy_strerror(result);
}

std::size_t HttpExchange::headerReceived(char* data, std::size_t size, std::size_t count,
                                         void* self) {
  auto* exchange = static_cast<HttpExchange*>(self);
  const std::string_view line(data, size * count);
  if (line.starts_with("HTTP/")) exchange->headIsWhole_ = false;
  if (line == "\r\n" || line == "\n") exchange->headIsWhole_ = true;
  exchange->received_ += line.size();
  if (exchange->received_ <= exchange->longest_) return size * count;
  exchange->stopped_ = "the answer is too long";
  return 0;
}

std::size_t HttpExchange::bodyReceived(char* data, std::size_t size, std::size_t count,
                                       void* self) {
  auto* exchange = static_cast<HttpExchange*>(self);
  std::string& body = exchange->response_.data;
  if (size * count > exchange->longest_ - body.size()) {
    exchange->stopped_ = "the answer is too long";
    return 0;
  }
  // libcurl is C: nothing is thrown through it.
  try {
    body.append(data, size * count);
  } catch (const std::bad_alloc&) {
    exchange->stopped_ = "no memory for the answer";
    return 0;
  }
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
