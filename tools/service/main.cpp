// korvani-service: the local qualification service. See docs/service.md.
#include <korvani/sdk/version.h>
#include <pthread.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>

#include "connection.h"
#include "http.h"

namespace korvani::service {
namespace {

struct Options {
  int port = 8780;
  std::string host = "127.0.0.1";
  std::string scenarios = "demo/scenarios.json";
  std::string content = "demo/content";
  std::string log;
};

void addOptions(CLI::App& app, Options& options) {
  app.add_option("--port", options.port, "port to listen on; 0 takes a free one (default: 8780)")
      ->check(CLI::Range(0, 65535))
      ->option_text("PORT");
  app.add_option("--bind", options.host, "address to listen on (default: 127.0.0.1)")
      ->option_text("ADDRESS");
  app.add_option("--scenarios", options.scenarios, "scenarios file (default: demo/scenarios.json)")
      ->option_text("FILE");
  app.add_option("--content", options.content, "folder of images and pages (default: demo/content)")
      ->option_text("FOLDER");
  app.add_option("--log", options.log, "request log (default: standard error)")
      ->option_text("FILE");
  app.set_version_flag("--version", "korvani-service " KORVANI_VERSION_STRING);
}

Customers readScenarios(const std::string& name) {
  try {
    std::ifstream file(name);
    if (!file) throw std::runtime_error(std::strerror(errno));
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    return parseScenarios(text);
  } catch (const std::ios_base::failure& error) {
    throw std::runtime_error(name + ": " + error.code().message());
  } catch (const std::exception& error) {
    throw std::runtime_error(name + ": " + error.what());
  }
}

// Runs the bound server until SIGINT or SIGTERM; false when it ended by itself. Both signals are
// blocked in every thread and taken by sigwait, so no code runs in a signal handler.
bool runUntilSignalled(httplib::Server& server, Feed& feed, const sigset_t& signals) {
  std::atomic<bool> ended = false;
  std::thread listener([&] {
    server.listen_after_bind();
    ended = true;
    kill(getpid(), SIGTERM);  // wakes the wait below, when the server was not asked to stop
  });
  int signal = 0;
  sigwait(&signals, &signal);
  while (!server.is_running() && !ended) std::this_thread::yield();  // stop() needs a running one
  const bool endedByItself = ended;
  server.stop();
  feed.end();
  for (; !ended; std::this_thread::sleep_for(std::chrono::milliseconds(10))) endConnections();
  listener.join();
  return !endedByItself;
}

int run(const Options& options) {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);

  Customers customers = readScenarios(options.scenarios);
  Feed feed;
  RequestLog log(options.log, feed);
  httplib::Server server;
  const int port = bindServer(server, options.host, options.port);
  const std::string base = baseAddress(options.host, port);
  Service service(std::move(customers), base);
  Front front(service, log, feed, options.host);
  front.setUp(server, options.content);

  std::cout << "korvani-service listening on " << base << std::endl;
  if (runUntilSignalled(server, feed, signals)) return 0;
  throw std::runtime_error("the listening socket failed");
}

}  // namespace
}  // namespace korvani::service

int main(int argc, char** argv) {
  korvani::service::Options options;
  CLI::App app("The local qualification service of Korvani.", "korvani-service");
  korvani::service::addOptions(app, options);
  try {
    app.parse(argc, argv);
    return korvani::service::run(options);
  } catch (const CLI::Success& help) {
    return app.exit(help);
  } catch (const std::exception& error) {
    std::cerr << "korvani-service: " << error.what() << std::endl;
    return 2;
  }
}
