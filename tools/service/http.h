// The service on the network: HTTP in front of Service, the content folder, the live page, and the
// request log.
#pragma once

#include <httplib.h>

#include <atomic>
#include <chrono>
#include <string>

#include "faults.h"
#include "live_page.h"
#include "request_log.h"
#include "service.h"

namespace korvani::service {

// Binds and listens, so that a client may connect from now on; port 0 takes a free one. Returns the
// port. Throws std::runtime_error with one line when the address cannot be had.
int bindServer(httplib::Server& server, const std::string& host, int port);

// "http://host:port" as a client on this machine writes it.
std::string baseAddress(const std::string& host, int port);

// What stands between the network and the service.
class Front {
 public:
  // All must live as long as the server runs. host: the address that the service listens on.
  Front(Service& service, RequestLog& log, Feed& feed, std::string host);

  // Sets the server up to answer. Each request is logged before its answer leaves, the live page's
  // own excepted. Throws std::runtime_error when the folder does not exist.
  void setUp(httplib::Server& server, const std::string& contentFolder);

 private:
  void exchange(const httplib::Request& request, httplib::Response& response,
                const httplib::ContentReader& read);
  void breakAnswer(const Fault& fault, const httplib::Request& request, RequestRecord& record,
                   httplib::Response& response);
  // Waits before an answer; with kMostHeld that wait already, not at all.
  void hold(const httplib::Request& request, std::chrono::seconds duration);

  Service& service_;
  RequestLog& log_;
  Faults faults_;
  LivePage page_;
  std::atomic<int> held_ = 0;
};

}  // namespace korvani::service
