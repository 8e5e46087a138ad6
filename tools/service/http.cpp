// HTTP in front of Service. Bodies are read raw and bounded, whatever content type they claim.
#include "http.h"

#include <netdb.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <optional>
#include <stdexcept>
#include <utility>

#include "connection.h"

namespace korvani::service {
namespace {

constexpr std::size_t kMaxBody = 1024 * 1024;
constexpr std::size_t kConnections = 32;          // of phones
constexpr std::size_t kConnectionsOfBrowser = 6;  // that it keeps to one service
constexpr int kMostHeld = 8;
constexpr std::chrono::seconds kTimeOut{120};  // more than clients wait
constexpr std::time_t kKeepAliveSeconds = 60;
constexpr std::size_t kKeepAliveRequests = 10'000;

std::string endpointOf(const httplib::Request& request) {
  return request.path.empty() ? "" : request.path.substr(1);
}

bool isExchange(const httplib::Request& request) {
  return request.method == "POST" && Service::offers(endpointOf(request));
}

RequestRecord recordOf(const httplib::Request& request) {
  RequestRecord record{request.method, endpointOf(request), std::nullopt, {}, 0, {}};
  if (request.has_header("X-Api-Key")) record.key = request.get_header_value("X-Api-Key");
  return record;
}

struct Body {
  int status = 200;  // 413 when it is too long, 400 when it is broken
  std::string bytes;
};

// The library closes a connection when an answer breaks off.
void makeTheLast(httplib::Response& response) {
  response.set_content_provider("text/plain",
                                [](std::size_t, httplib::DataSink&) { return false; });
}

// A body without a length is empty; the library would read on until the client hangs up. One that
// is not read to its end, such as a form in parts, which the library takes apart, ends the
// connection: what is left of it would be the next request.
Body readBody(const httplib::Request& request, const httplib::ContentReader& read,
              httplib::Response& response) {
  Body body;
  const bool present =
      request.has_header("Content-Length") || request.has_header("Transfer-Encoding");
  if (!present) return body;
  const auto keep = [&](const char* data, std::size_t size) {
    if (body.bytes.size() + size > kMaxBody) body.status = 413;
    if (body.status == 200) body.bytes.append(data, size);
    return true;
  };
  if (request.is_multipart_form_data() || !read(keep)) {
    body.status = 400;
    makeTheLast(response);
  }
  return body;
}

// The library looks a name up, too, and keeps to itself that there is none.
std::string whyNotBound(const std::string& host, int error) {
  addrinfo* addresses = nullptr;
  const int lookUp = getaddrinfo(host.c_str(), nullptr, nullptr, &addresses);
  if (lookUp != 0) return gai_strerror(lookUp);
  freeaddrinfo(addresses);
  return error == EADDRINUSE ? "the port is taken" : std::strerror(error);
}

}  // namespace

int bindServer(httplib::Server& server, const std::string& host, int port) {
  // Not the library's default, SO_REUSEPORT, which lets a second service share a taken port.
  // SO_REUSEADDR only lets a new service follow one that has just ended.
  server.set_socket_options([](socket_t socket) {
    const int yes = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  });
  const int bound =
      port == 0 ? server.bind_to_any_port(host) : (server.bind_to_port(host, port) ? port : -1);
  if (bound > 0) return bound;
  throw std::runtime_error("cannot listen on " + host + ":" + std::to_string(port) + ": " +
                           whyNotBound(host, errno));
}

std::string baseAddress(const std::string& host, int port) {
  std::string name = host == "0.0.0.0" ? "127.0.0.1" : host == "::" ? "::1" : host;
  if (name.find(':') != std::string::npos) name = "[" + name + "]";
  return "http://" + name + ":" + std::to_string(port);
}

Front::Front(Service& service, RequestLog& log, Feed& feed, std::string host)
    : service_(service), log_(log), page_(service, faults_, feed, std::move(host)) {}

void Front::setUp(httplib::Server& server, const std::string& contentFolder) {
  if (!server.set_mount_point("/", contentFolder)) {
    throw std::runtime_error(contentFolder + ": is not a folder");
  }
  server.set_tcp_nodelay(true);
  // Kept connections hold a thread each, and a client that reuses one must not meet it closing. So
  // do pages that watch and answers that are held back: they have threads beside those of phones.
  server.new_task_queue = [] {
    return new httplib::ThreadPool(kConnections + kMostHeld +
                                   LivePage::kMostWatchers * kConnectionsOfBrowser);
  };
  server.set_keep_alive_timeout(kKeepAliveSeconds);
  server.set_keep_alive_max_count(kKeepAliveRequests);
  server.set_pre_routing_handler(
      [this](const httplib::Request& request, httplib::Response& response) {
        return page_.get(request, response);
      });
  server.Post("/(configuration|scenario|confirm)",
              [this](const httplib::Request& request, httplib::Response& response,
                     const httplib::ContentReader& read) { exchange(request, response, read); });
  server.Post("/live/change", [this](const httplib::Request& request, httplib::Response& response,
                                     const httplib::ContentReader& read) {
    const Body body = readBody(request, read, response);
    response.status = body.status;
    if (body.status == 200) page_.change(request, body.bytes, response);
  });
  server.set_post_routing_handler(
      [this](const httplib::Request& request, httplib::Response& response) {
        if (isExchange(request) || LivePage::isOwn(request)) return;  // an exchange logs itself
        RequestRecord record = recordOf(request);
        record.status = response.status;
        log_.write(record);
      });
}

void Front::exchange(const httplib::Request& request, httplib::Response& response,
                     const httplib::ContentReader& read) {
  const Body body = readBody(request, read, response);
  RequestRecord record = recordOf(request);
  response.status = record.status = body.status;
  std::optional<Fault> fault;
  if (body.status == 200) {
    record.parameters = decodeForm(body.bytes);
    fault = faults_.take(record.endpoint);
  }
  if (fault) {
    record.broken = fault->kind;
    page_.publishState();
  }
  if (fault && fault->kind == "delay") hold(request, std::chrono::seconds(fault->seconds));
  if (fault && fault->kind != "delay") {
    breakAnswer(*fault, request, record, response);
    return;
  }
  if (body.status == 200) {
    const Answer answer = service_.answer(record.endpoint, record.key, record.parameters);
    response.status = record.status = answer.status;
    record.answer = answer.body;
    response.set_content(answer.body.dump(), "application/json");
  }
  log_.write(record);
}

void Front::breakAnswer(const Fault& fault, const httplib::Request& request, RequestRecord& record,
                        httplib::Response& response) {
  const bool isAnswered = fault.kind == "status 500" || fault.kind == "malformed JSON";
  response.status = fault.kind == "status 500" ? 500 : 200;
  record.status = isAnswered ? response.status : 0;
  log_.write(record);
  if (fault.kind == "malformed JSON") {
    response.set_content(R"({"success": tru)", "application/json");
  }
  if (fault.kind == "time-out") hold(request, kTimeOut);
  if (!isAnswered) resetConnection(request);
}

void Front::hold(const httplib::Request& request, std::chrono::seconds duration) {
  if (held_.fetch_add(1) < kMostHeld) holdConnection(request, duration);
  --held_;
}

}  // namespace korvani::service
