// Connections of this process, found among its descriptors by where they lead.
#include "connection.h"

#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>

namespace korvani::service {
namespace {

struct Peer {
  sockaddr_storage address = {};
  socklen_t size = sizeof address;
};

void forEachConnection(const std::function<void(int fd, const Peer& peer)>& act) {
  std::error_code none;  // without /proc nothing is found
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd", none)) {
    const int fd = std::atoi(entry.path().filename().c_str());
    Peer peer;
    if (fd <= STDERR_FILENO) continue;
    if (getpeername(fd, reinterpret_cast<sockaddr*>(&peer.address), &peer.size) == 0) act(fd, peer);
  }
}

// The descriptor, which stays open while the request is handled; -1 when it cannot be found.
int connectionOf(const httplib::Request& request) {
  int found = -1;
  forEachConnection([&](int fd, const Peer& peer) {
    char host[NI_MAXHOST];
    char port[NI_MAXSERV];
    if (getnameinfo(reinterpret_cast<const sockaddr*>(&peer.address), peer.size, host, sizeof host,
                    port, sizeof port, NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
      return;
    }
    if (request.remote_addr == host && std::to_string(request.remote_port) == port) found = fd;
  });
  return found;
}

}  // namespace

void endConnections() {
  forEachConnection([](int fd, const Peer&) { shutdown(fd, SHUT_RD); });
}

void resetConnection(const httplib::Request& request) {
  // Linux sends a reset when a connection is told to lead nowhere.
  sockaddr nowhere = {};
  nowhere.sa_family = AF_UNSPEC;
  connect(connectionOf(request), &nowhere, sizeof nowhere);
}

void holdConnection(const httplib::Request& request, std::chrono::milliseconds duration) {
  pollfd connection = {connectionOf(request), POLLRDHUP, 0};
  poll(&connection, 1, static_cast<int>(duration.count()));
}

}  // namespace korvani::service
