// Plain sockets, a thread for each connection.
#include "raw_server.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <optional>
#include <string_view>

namespace korvani::qt {

namespace {

/// Takes the first whole request off the front of what has been received.
std::optional<std::string> takeRequest(std::string& received) {
  const std::size_t head = received.find("\r\n\r\n");
  if (head == std::string::npos) return std::nullopt;
  constexpr std::string_view kLength = "\r\nContent-Length: ";
  const std::size_t length = received.find(kLength);
  const std::size_t body =
      length < head ? std::strtoul(received.c_str() + length + kLength.size(), nullptr, 10) : 0;
  const std::size_t whole = head + 4 + body;
  if (received.size() < whole) return std::nullopt;
  std::string request = received.substr(0, whole);
  received.erase(0, whole);
  return request;
}

bool sendAll(int connection, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t sent = ::send(connection, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

/// False when the connection is at its end.
bool send(int connection, const RawServer::Reply& reply) {
  switch (reply.manner) {
    case RawServer::Manner::kThenSilence:
      return sendAll(connection, reply.bytes);
    case RawServer::Manner::kThenReset: {
      sendAll(connection, reply.bytes);
      const sockaddr nowhere{.sa_family = AF_UNSPEC, .sa_data = {}};
      ::connect(connection, &nowhere, sizeof nowhere);
      return false;
    }
    case RawServer::Manner::kForEver:
      while (sendAll(connection, reply.bytes)) {
      }
      return false;
    case RawServer::Manner::kByteByByte:
      for (const char& byte : reply.bytes) {
        if (!sendAll(connection, {&byte, 1})) return false;
      }
      break;
    case RawServer::Manner::kAtOnce:
      if (!sendAll(connection, reply.bytes)) return false;
  }
  // An answer without a length ends with the connection.
  return reply.bytes.find("\r\nContent-Length: ") != std::string::npos;
}

}  // namespace

RawServer::RawServer(Answer answer)
    : answer_(std::move(answer)), listener_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  if (::bind(listener_, generic, size) != 0 || ::listen(listener_, 16) != 0 ||
      ::getsockname(listener_, generic, &size) != 0) {
    std::abort();
  }
  port_ = ntohs(address.sin_port);
  acceptor_ = std::thread([this] { accept(); });
}

RawServer::~RawServer() {
  ::shutdown(listener_, SHUT_RDWR);
  acceptor_.join();
  for (const int connection : sockets_) ::shutdown(connection, SHUT_RDWR);
  for (std::thread& connection : threads_) connection.join();
  for (const int connection : sockets_) ::close(connection);
  ::close(listener_);
}

std::string RawServer::url(const std::string& path) const {
  return "http://127.0.0.1:" + std::to_string(port_) + path;
}

std::vector<std::string> RawServer::requests() const {
  const std::lock_guard lock(mutex_);
  return requests_;
}

std::size_t RawServer::connections() const {
  const std::lock_guard lock(mutex_);
  return sockets_.size();
}

std::string RawServer::reply(const std::string& body, const std::string& status,
                             const std::string& headers) {
  return "HTTP/1.1 " + status + "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n" +
         headers + "\r\n" + body;
}

void RawServer::accept() {
  while (true) {
    const int connection = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
    // One that finds no descriptor waits for it.
    if (connection < 0 && errno == EMFILE) continue;
    if (connection < 0) return;
    const int atOnce = 1;
    ::setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &atOnce, sizeof atOnce);
    const std::lock_guard lock(mutex_);
    sockets_.push_back(connection);
    threads_.emplace_back([this, connection] { serve(connection); });
  }
}

void RawServer::serve(int connection) {
  std::string received;
  char buffer[4096];
  ssize_t got = 0;
  while ((got = ::recv(connection, buffer, sizeof buffer, 0)) > 0) {
    received.append(buffer, static_cast<std::size_t>(got));
    while (const auto request = takeRequest(received)) {
      std::size_t number = 0;
      {
        const std::lock_guard lock(mutex_);
        number = requests_.size();
        requests_.push_back(*request);
      }
      if (!send(connection, answer_(number, *request))) {
        ::shutdown(connection, SHUT_RDWR);
        return;
      }
    }
  }
}

}  // namespace korvani::qt
