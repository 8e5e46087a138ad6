// All that threads may do at once, for as long as the build is worth: host calls, answers,
// advertisements, background time that ends, and looks at the phone from threads of the host.
#include <gtest/gtest.h>
#include <korvani/qt/phone.h>
#include <korvani/sdk/korvani.h>

#include <QTemporaryDir>
#include <QTimer>
#include <QWidget>
#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <fstream>
#include <future>
#include <iterator>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "private_bus.h"
#include "raw_server.h"
#include "waiting.h"

namespace korvani::qt {
namespace {

using namespace std::chrono_literals;
using platform::Value;

const std::string kImage = "http://127.0.0.1:8780/image.png";

/// What a service may say, and some of what it should not.
RawServer::Reply answer(std::size_t number, const std::string& request) {
  if (request.starts_with("GET")) {
    std::ifstream file(KORVANI_PNG, std::ios::binary);
    return RawServer::reply({std::istreambuf_iterator<char>(file), {}});
  }
  const std::string good =
      R"({"disabled":false,"korvani_uuid":"c0ffee5e9a714d2bb3f81e64a7d5039)" +
      std::to_string(number % 2 * 5) +
      R"(","success":true,"notification_text":"Hello","type":"IMG","image":{"url":")" + kImage +
      R"("},"scenario_history_id":)" + std::to_string(number) + "}";
  switch (number % 5) {
    case 1:
      return {"", RawServer::Manner::kThenReset};
    case 2:
      return RawServer::reply("nonsense");
    case 3:
      return {RawServer::reply(good), RawServer::Manner::kByteByByte};
    default:
      return RawServer::reply(good);
  }
}

/// Beacons of both UUIDs that the service names, walked past to and fro.
QString writeWalk(const QTemporaryDir& folder) {
  const QString name = folder.filePath(QStringLiteral("walk.jsonl"));
  std::ofstream walk(name.toStdString());
  for (int i = 0; i < 40; ++i) {
    walk << R"({"beacon":{"uuid":"C0FFEE5E-9A71-4D2B-B3F8-1E64A7D5039)" << i % 2 * 5
         << R"(","major":1,"minor":)" << i << R"(,"x":)" << i % 7 << R"(,"y":)" << i / 7
         << R"(,"period":0.02}})" << '\n';
  }
  for (int i = 0; i < 100; ++i) {
    walk << R"({"walk":{"x":)" << i % 2 * 20 << R"(,"y":3,"pace":6}})" << '\n';
  }
  return name;
}

/// One of the things that a host may do on its main thread.
void callTheKit(QWidget& window, unsigned number, unsigned chance) {
  static const std::shared_ptr<platform::LocationManagerDelegate> kit = Korvani::sharedInstance();
  switch (chance % 11) {
    case 0:
      if (number % 8 == 0) Korvani::initWithAPIKey("key " + std::to_string(number), nullptr, false);
      break;
    case 1:
      Korvani::setUserId("user " + std::to_string(number));
      break;
    case 2:
      Korvani::setDebugLogEnabled(number % 2 == 0);
      break;
    case 3:
      if (number % 40 == 0) Korvani::didEnterBackground();
      break;
    case 4:
      Korvani::didBecomeActive();
      break;
    case 5:
      Korvani::didReceiveLocalNotification(
          Value::Dictionary{{"type", "IMG"},
                            {"image", Value::Dictionary{{"url", kImage}}},
                            {"scenario_history_id", static_cast<std::int64_t>(number)}});
      break;
    case 6:
      window.setVisible(number % 30 != 0);
      break;
    case 7:
      Korvani::setModeCustomView(number % 5 == 0);
      break;
    case 8:
      Korvani::requestLocalizationAndNotificationsAuthorization();
      break;
    default:
      kit->locationManagerDidRangeBeacons(nullptr,
                                          {{.proximityUUID = {},
                                            .major = 1,
                                            .minor = static_cast<std::uint16_t>(number),
                                            .proximity = platform::kProximityNear}},
                                          nullptr);
  }
}

/// What has been seen, by whichever thread.
struct Seen {
  std::atomic<long> looks = 0, jobsGiven = 0, jobsDone = 0;
  /// Of the two UUIDs of the walk.
  std::array<std::atomic<bool>, 2> areReported{};
  static inline std::atomic<bool> hasExpired = false;
};

/// What is safe from any thread, over and over. The value is what it stored last.
std::int64_t useThePhone(const std::string& name, const std::atomic<bool>& isOver, Seen& seen) {
  platform::Platform& phone = *platform::Platform::installed();
  platform::UserDefaults& store = phone.standardUserDefaults();
  const platform::Job job = [&] { ++seen.jobsDone; };
  std::int64_t look = 0;
  while (!isOver) {
    ++look;
    if (const auto root = phone.application().rootViewController()) {
      static_cast<void>(root->presentedViewController());
      if (look % 50 == 0) root->dismissViewControllerAnimated(false);
    }
    store.objectForKey("KorvaniUUID");
    store.setObject(look, name);
    // The next start asks for the configuration again, once ranging has had its time.
    if (look % 2000 == 0) store.setObject(nullptr, "lastRequestConfig");
    if (look % 20 == 0) {
      store.synchronize();
      phone.application().scheduleLocalNotification({name, "", {}});
      phone.queues().mainQueue().async(job);
      phone.queues().mainQueueAfter(1ms, job);
      phone.queues().globalQueue(platform::QueuePriority::kDefault).async(job);
      phone.queues().newOperationQueue()->async(job);
      seen.jobsGiven += 4;
    }
    EXPECT_EQ(phone.json().JSONObjectWithData(R"({"a":[1]})").at("a"), Value(Value::Array{1}));
    static_cast<void>(phone.clock().utcOffset(phone.clock().now()));
    static_cast<void>(phone.application().backgroundTimeRemaining());
    static_cast<void>(Korvani::sharedInstance());
    phone.log().write("looked");
    ++seen.looks;
    std::this_thread::sleep_for(1ms);  // the others are to have their turn
  }
  return look;
}

TEST(Threads, DoAllAtOnce) {
  qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString& line) {
    if (line.startsWith(QStringLiteral("Background task expired"))) Seen::hasExpired = true;
  });
  const PrivateBus bus;
  const QTemporaryDir folder;
  Seen seen;
  RawServer server([&](std::size_t number, const std::string& request) {
    for (const std::size_t i : {0U, 1U}) {
      const char* uuid = i == 0 ? "1E64A7D50390&" : "1E64A7D50395&";
      if (request.find(uuid) != request.npos) seen.areReported[i] = true;
    }
    return answer(number, request);
  });
  QWidget window;
  window.resize(300, 500);
  window.show();
  PhoneOptions options;
  options.walkFile = writeWalk(folder);
  options.mappedHosts = {{"127.0.0.1:8780", "127.0.0.1:" + std::to_string(server.port())}};
  options.settingsFile = folder.filePath(QStringLiteral("settings.ini"));
  options.notificationsFolder = folder.filePath(QStringLiteral("notifications"));
  options.backgroundTime = 30ms;
  options.locationSettings.exitDelay = 1s;
  const auto phone = Phone::create(&window, options);
  platform::Platform::install(phone);
  phone->setLocalNotificationOpenedHandler(&Korvani::didReceiveLocalNotification);
  phone->forwardLifecycle(&Korvani::didEnterBackground, &Korvani::didBecomeActive);
  Korvani::initWithAPIKey("key", nullptr, false);

  std::mt19937 random{7};
  unsigned calls = 0;
  QTimer calling;
  calling.callOnTimeout([&] { callTheKit(window, ++calls, static_cast<unsigned>(random())); });
  calling.start(5ms);
  std::atomic<bool> isOver = false;
  std::vector<std::future<std::int64_t>> others;
  for (const char* name : {"first", "second"}) {
    others.push_back(std::async(
        std::launch::async, [&isOver, &seen, name] { return useThePhone(name, isOver, seen); }));
  }
  bool isLong = false;
  QTimer::singleShot(std::chrono::seconds(THREADS_SECONDS), [&] { isLong = true; });
  runUntil([&] {
    const bool isAll = Seen::hasExpired && seen.areReported[0] && seen.areReported[1];
    return isLong && calls > 100 && server.requests().size() > 10 &&
           (isAll || THREADS_SECONDS < 60);
  });
  EXPECT_GT(seen.looks, 0);
  isOver = true;
  for (const char* name : {"first", "second"}) {
    const std::int64_t last = others[name == std::string("second")].get();
    EXPECT_EQ(phone->standardUserDefaults().objectForKey(name), last);
  }
  runUntil([&] { return seen.jobsDone == seen.jobsGiven; });
  // Whatever came in between, the next report goes out.
  Korvani::initWithAPIKey("last key", nullptr, false);
  const std::shared_ptr<platform::LocationManagerDelegate> kit = Korvani::sharedInstance();
  kit->locationManagerDidRangeBeacons(
      nullptr, {{.proximityUUID = {}, .major = 2, .minor = 2, .proximity = 1}}, nullptr);
  QTimer looking;
  looking.start(10ms);
  runUntil([&] {
    const auto requests = server.requests();
    return std::any_of(requests.begin(), requests.end(), [](const std::string& request) {
      return request.find("X-Api-Key: last key\r\n") != request.npos &&
             request.find("major=0002") != request.npos;
    });
  });
}

}  // namespace
}  // namespace korvani::qt
