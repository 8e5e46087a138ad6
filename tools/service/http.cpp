// HTTP in front of Service. Bodies are read raw and bounded, whatever content type they claim.
#include "http.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <utility>

namespace korvani::service {
namespace {

constexpr std::size_t kMaxBody = 1024 * 1024;
constexpr std::size_t kConnections = 32;
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

// A body is read to its end in any case, since the next request of the connection begins behind it.
// One without a length is empty; the library would read on until the client hangs up.
Body readBody(const httplib::Request& request, const httplib::ContentReader& read) {
  Body body;
  if (request.is_multipart_form_data()) return {400, ""};
  const bool present =
      request.has_header("Content-Length") || request.has_header("Transfer-Encoding");
  if (!present) return body;
  const bool complete = read([&](const char* data, std::size_t size) {
    if (body.bytes.size() + size > kMaxBody) body.status = 413;
    if (body.status == 200) body.bytes.append(data, size);
    return true;
  });
  if (!complete) body.status = 400;
  return body;
}

RequestRecord answerExchange(Service& service, const httplib::Request& request, const Body& body) {
  RequestRecord record = recordOf(request);
  record.status = body.status;
  if (body.status == 200) {
    record.parameters = decodeForm(body.bytes);
    Answer answer = service.answer(record.endpoint, record.key, record.parameters);
    record.status = answer.status;
    record.answer = std::move(answer.body);
  }
  return record;
}

}  // namespace

int bindServer(httplib::Server& server, const std::string& host, int port) {
  // Not the library's default, SO_REUSEPORT, which lets a second service share a taken port.
  // SO_REUSEADDR only lets a new service follow one that has just ended.
  server.set_socket_options([](socket_t socket) {
    const int yes = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
  });
  errno = 0;
  const int bound =
      port == 0 ? server.bind_to_any_port(host) : (server.bind_to_port(host, port) ? port : -1);
  if (bound > 0) return bound;
  const std::string reason = errno == EADDRINUSE ? "the port is taken" : std::strerror(errno);
  throw std::runtime_error("cannot listen on " + host + ":" + std::to_string(port) +
                           (errno == 0 ? "" : ": " + reason));
}

std::string baseAddress(const std::string& host, int port) {
  std::string name = host == "0.0.0.0" ? "127.0.0.1" : host == "::" ? "::1" : host;
  if (name.find(':') != std::string::npos) name = "[" + name + "]";
  return "http://" + name + ":" + std::to_string(port);
}

void setUpServer(httplib::Server& server, Service& service, RequestLog& log,
                 const std::string& contentFolder) {
  if (!server.set_mount_point("/", contentFolder)) {
    throw std::runtime_error(contentFolder + ": is not a folder");
  }
  server.set_tcp_nodelay(true);
  // Kept connections hold a thread each, and a client that reuses one must not meet it closing.
  server.new_task_queue = [] { return new httplib::ThreadPool(kConnections); };
  server.set_keep_alive_timeout(kKeepAliveSeconds);
  server.set_keep_alive_max_count(kKeepAliveRequests);
  server.Post("/(configuration|scenario|confirm)", [&](const httplib::Request& request,
                                                       httplib::Response& response,
                                                       const httplib::ContentReader& read) {
    const RequestRecord record = answerExchange(service, request, readBody(request, read));
    response.status = record.status;
    if (!record.answer.is_null()) {
      response.set_content(record.answer.dump(), "application/json");
    }
    log.write(record);
  });
  server.set_post_routing_handler(
      [&](const httplib::Request& request, httplib::Response& response) {
        if (isExchange(request)) return;  // logged above, with what was decoded
        RequestRecord record = recordOf(request);
        record.status = response.status;
        log.write(record);
      });
}

void endConnections() {
  std::error_code none;  // without /proc the stop waits for the clients
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd", none)) {
    const int fd = std::atoi(entry.path().filename().c_str());
    sockaddr_storage peer = {};
    socklen_t size = sizeof peer;
    const bool connected = getpeername(fd, reinterpret_cast<sockaddr*>(&peer), &size) == 0;
    if (fd > STDERR_FILENO && connected) shutdown(fd, SHUT_RD);
  }
}

}  // namespace korvani::service
