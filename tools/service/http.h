// The service on the network: HTTP in front of Service, the content folder, and the request log.
#pragma once

#include <httplib.h>

#include <string>

#include "request_log.h"
#include "service.h"

namespace korvani::service {

// Binds and listens, so that a client may connect from now on; port 0 takes a free one. Returns the
// port. Throws std::runtime_error with one line when the address cannot be had.
int bindServer(httplib::Server& server, const std::string& host, int port);

// "http://host:port" as a client on this machine writes it.
std::string baseAddress(const std::string& host, int port);

// Sets the server up to answer. Service and log must live as long as the server runs. Each request
// is logged before its answer leaves. Throws std::runtime_error when the folder does not exist.
void setUpServer(httplib::Server& server, Service& service, RequestLog& log,
                 const std::string& contentFolder);

// Lets no open connection of this process bring another request, so that a stopped server need not
// wait for clients that keep theirs. An answer under way still goes out.
void endConnections();

}  // namespace korvani::service
