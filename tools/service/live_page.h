// The live page at "/": what the service is asked and answers, as it happens, and the controls that
// change its answers. Only for those who are meant: other web sites in the same browser are not.
#pragma once

#include <httplib.h>

#include <atomic>
#include <mutex>
#include <string>

#include "faults.h"
#include "feed.h"
#include "service.h"

namespace korvani::service {

class LivePage {
 public:
  static constexpr int kMostWatchers = 8;

  // All must live as long as the server runs. host: the address that the service listens on.
  LivePage(Service& service, Faults& faults, Feed& feed, std::string host);

  // Whether a request of this path is the page's own.
  static bool isOwn(const httplib::Request& request);

  // Answers a GET of the page's own, or leaves it; before the content folder has its turn.
  httplib::Server::HandlerResponse get(const httplib::Request& request,
                                       httplib::Response& response);
  // Makes the change that the body of a POST orders.
  void change(const httplib::Request& request, const std::string& body,
              httplib::Response& response);

  // Shows what stands now to those who watch.
  void publishState();

 private:
  bool isMeant(const httplib::Request& request) const;
  void sendPage(httplib::Response& response) const;
  void sendEvents(const httplib::Request& request, httplib::Response& response);

  Service& service_;
  Faults& faults_;
  Feed& feed_;
  const std::string host_;
  const std::string token_;  // stands in the page alone
  std::atomic<int> watchers_ = 0;
  std::mutex publishing_;
};

}  // namespace korvani::service
