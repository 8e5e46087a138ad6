// The running program over real sockets, with the demonstration's own scenarios and content.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <fstream>
#include <list>
#include <nlohmann/json.hpp>
#include <string>
#include <thread>
#include <vector>

namespace {

using Json = nlohmann::json;

const std::string kDemo = KORVANI_DEMO_DIR;

// korvani-service as a child, with its standard output and error on one pipe.
class Program {
 public:
  explicit Program(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), KORVANI_SERVICE_PROGRAM);
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    int ends[2] = {};
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
    EXPECT_EQ(posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    output_ = fdopen(ends[0], "r");
  }
  ~Program() {
    if (pid_ > 0) end(SIGKILL);
    fclose(output_);
  }

  // Without its line end; empty at the end of the output.
  std::string line() {
    std::string text;
    for (int c = fgetc(output_); c != EOF && c != '\n'; c = fgetc(output_))
      text += static_cast<char>(c);
    return text;
  }

  // The exit status, or -1 for another end. The signal is 0 for a program that ends by itself.
  int end(int signal) {
    int status = 0;
    if (signal != 0) kill(pid_, signal);
    waitpid(std::exchange(pid_, -1), &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  pid_t pid_ = -1;
  FILE* output_ = nullptr;
};

std::string portOf(const std::string& readyLine) {
  const std::string start = "korvani-service listening on http://127.0.0.1:";
  EXPECT_EQ(readyLine.substr(0, start.size()), start);
  return readyLine.substr(start.size());
}

std::vector<std::string> demo(const std::string& port) {
  return {"--port",          port, "--scenarios", kDemo + "/scenarios.json", "--content",
          kDemo + "/content"};
}

TEST(ServiceProgram, LogsEachRequestBeforeItIsAnswered) {
  const std::string log = testing::TempDir() + "korvani_service_program_test.log";
  std::remove(log.c_str());
  std::vector<std::string> arguments = demo("0");
  arguments.insert(arguments.end(), {"--log", log});
  Program program(arguments);
  httplib::Client client("127.0.0.1", std::stoi(portOf(program.line())));
  client.set_keep_alive(true);
  client.set_tcp_nodelay(true);
  const auto post = [&](const std::string& endpoint, const std::string& body,
                        const std::string& type = "") {
    const auto answer = client.Post("/" + endpoint, {{"X-Api-Key", "demo-key"}}, body, type);
    return answer ? answer->status : -1;
  };
  EXPECT_EQ(client.Get("/../scenarios.json")->status, 404);
  EXPECT_EQ(post("scenario", "x=" + std::string(1024 * 1024, 'x')), 413);
  EXPECT_EQ(post("scenario", std::string(8192, 'x'), "multipart/form-data; boundary=y"), 400);
  EXPECT_EQ(post("confirm", "scenario_history_id=%33&n=a+%ff"), 200);

  std::ifstream file(log);  // read while the service runs and the connection is kept
  std::vector<std::string> logged;
  Json last;
  for (std::string line; std::getline(file, line);) {
    last = Json::parse(line);
    logged.push_back(last["method"].get<std::string>() + " " + last["endpoint"].get<std::string>() +
                     " " + last["status"].dump());
  }
  EXPECT_THAT(logged, testing::ElementsAre("GET ../scenarios.json 404", "POST scenario 413",
                                           "POST scenario 400", "POST confirm 200"));
  EXPECT_EQ(last["key"], "demo-key");
  EXPECT_EQ(last["parameters"], Json({{"scenario_history_id", "3"}, {"n", "a \uFFFD"}}));
  EXPECT_EQ(program.end(SIGTERM), 0);
}

// A service with its live page, and a client that has read the token there.
class LivePageTest : public testing::Test {
 protected:
  LivePageTest() {
    client_.set_keep_alive(true);
    const auto page = client_.Get("/");
    const std::string before = "korvani-token\" content=\"";
    const std::size_t at = page ? page->body.find(before) : std::string::npos;
    EXPECT_NE(at, std::string::npos);
    if (at != std::string::npos) token_ = page->body.substr(at + before.size(), 32);
  }

  int change(const std::string& order, httplib::Headers headers = {}) {
    headers.emplace("X-Korvani-Token", token_);
    const auto answer = client_.Post("/live/change", headers, order, "");
    return answer ? answer->status : -1;
  }
  void breakNext(const std::string& kind, int count) {
    EXPECT_EQ(
        change(R"({"break": {"kind": ")" + kind + R"(", "endpoint": "confirm", "seconds": 0,)" +
               R"("count": )" + std::to_string(count) + "}}"),
        200);
  }
  // The status and the body; only "0 " for no answer.
  std::string confirm() {
    const auto answer = client_.Post("/confirm", {{"X-Api-Key", "demo-key"}}, "", "");
    return answer ? std::to_string(answer->status) + " " + answer->body : "0 ";
  }

  Program program_{demo("0")};  // which logs to its output
  const int port_ = std::stoi(portOf(program_.line()));
  httplib::Client client_{"127.0.0.1", port_};
  std::string token_;
};

TEST_F(LivePageTest, OnlyItsOwnPageSeesAndEdits) {
  const std::string own = "127.0.0.1:" + std::to_string(port_);
  const std::string harmless = R"({"settings": {"key": "demo-key"}})";
  EXPECT_EQ(change(harmless), 200);
  const std::pair<httplib::Headers, int> cases[] = {
      {{{"Origin", "http://" + own}}, 200},
      {{{"Host", "localhost:1"}, {"Origin", "http://localhost:1"}}, 200},
      {{{"Origin", "http://evil.example"}}, 403},
      {{{"Origin", "null"}}, 403},
      {{{"Origin", "http://127.0.0.1:1"}}, 403},
      {{{"Host", "127.0.0.1.evil.example"}}, 403},
      {{{"Host", ""}}, 403},
  };
  for (const auto& [headers, expected] : cases) {
    const std::string what = headers.begin()->first + " " + headers.begin()->second;
    EXPECT_EQ(change(harmless, headers), expected) << what;
    const auto page = client_.Get("/", headers);
    ASSERT_TRUE(page) << what;
    EXPECT_EQ(page->status, expected) << what;
    EXPECT_EQ(page->body.find(token_) == std::string::npos, expected != 200) << what;
  }
  EXPECT_EQ(change("{}"), 400);
  EXPECT_EQ(change(std::string(1024 * 1024 + 1, ' ')), 413);
  token_.back() = token_.back() == '0' ? '1' : '0';
  EXPECT_EQ(change(harmless), 403);
  EXPECT_EQ(client_.Get("/live/events?token=" + token_)->status, 403);
}

TEST_F(LivePageTest, BreaksAnswersAsOrdered) {
  const std::string whole = R"(200 {"success":false})";
  const std::pair<std::string, std::string> cases[] = {
      {"delay", whole},
      {"reset", "0 "},
      {"status 500", "500 "},
      {"malformed JSON", R"(200 {"success": tru)"}};
  for (const auto& [kind, expected] : cases) {
    breakNext(kind, 2);
    EXPECT_EQ(confirm(), expected) << kind;
    EXPECT_EQ(confirm(), expected) << kind;
    EXPECT_EQ(confirm(), whole) << kind;
  }
  breakNext("time-out", 1);
  client_.set_read_timeout(0, 1000);
  EXPECT_EQ(confirm(), "0 ");
  client_.set_read_timeout(60);
  EXPECT_EQ(confirm(), whole);
}

TEST_F(LivePageTest, WatchersAreFewAndHoldNobodyUp) {
  const std::string path = "/live/events?token=" + token_;
  std::vector<std::thread> watchers;
  std::atomic<int> watching = 0;
  std::atomic<bool> done = false;
  for (int i = 0; i < 8; ++i) {
    watchers.emplace_back([&] {
      httplib::Client watcher("127.0.0.1", port_);
      watcher.Get(path, [&](const char*, std::size_t) {
        ++watching;
        done.wait(false);  // reads no further
        return true;
      });
    });
  }
  while (watching < 8) std::this_thread::yield();
  EXPECT_EQ(client_.Get(path)->status, 503);

  std::list<httplib::Client> phones;
  for (int i = 0; i < 32; ++i) {
    httplib::Client& phone = phones.emplace_back("127.0.0.1", port_);
    phone.set_keep_alive(true);
    const auto answer = phone.Post("/confirm", {{"X-Api-Key", "demo-key"}}, "", "");
    EXPECT_TRUE(answer && answer->status == 200) << "phone " << i;
  }

  breakNext("time-out", 1);
  std::thread held([&] { EXPECT_EQ(confirm(), "0 "); });
  while (program_.line().find(R"("broken":"time-out")") == std::string::npos) {
  }
  EXPECT_EQ(program_.end(SIGTERM), 0);  // whoever waits for an answer or watches
  done = true;
  done.notify_all();
  held.join();
  for (std::thread& watcher : watchers) watcher.join();
}

TEST(ServiceProgram, ATakenPortABadFileOrABadArgumentIsOneLineAndStatus2) {
  Program first(demo("0"));
  const std::string port = portOf(first.line());
  std::vector<std::string> badFile = demo("0");
  badFile[3] = kDemo + "/content/pears.png";
  std::vector<std::string> badFolder = demo("0");
  badFolder[5] = kDemo + "/scenarios.json";
  std::vector<std::string> badAddress = demo("0");
  badAddress.insert(badAddress.end(), {"--bind", "a..b"});
  const std::pair<std::vector<std::string>, std::string> cases[] = {
      {demo(port), "127.0.0.1:" + port + ": the port is taken"},
      {badFile, "pears.png: parse error"},
      {badFolder, "scenarios.json: is not a folder"},
      {{"--scenarios", kDemo}, kDemo + ": Is a directory"},
      {badAddress, "a..b:0: Name or service not known"},
  };
  for (const auto& [arguments, expected] : cases) {
    Program program(arguments);
    const std::string line = program.line();
    EXPECT_EQ(line.rfind("korvani-service: ", 0), 0u) << line;
    EXPECT_NE(line.find(expected), std::string::npos) << line;
    EXPECT_EQ(program.line(), "");
    EXPECT_EQ(program.end(0), 2) << line;
  }
  EXPECT_EQ(first.end(SIGINT), 0);
}

}  // namespace
