// What a handler does to the connection beneath a request, which the HTTP library keeps to itself.
#pragma once

#include <httplib.h>

#include <chrono>

namespace korvani::service {

// Lets no open connection of this process bring another request, so that a stopped server need not
// wait for clients that keep theirs. An answer under way still goes out.
void endConnections();

// Breaks the connection of a request that is being handled: the client sees it reset.
void resetConnection(const httplib::Request& request);

// Waits so long, or until the client has hung up or the service ends.
void holdConnection(const httplib::Request& request, std::chrono::milliseconds duration);

}  // namespace korvani::service
