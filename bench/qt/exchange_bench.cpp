// What it costs to report a beacon and to get a scenario for it, from the ranging result until the
// notification is handed over, on the Linux phone's own HTTP, threads, JSON and store: beside the
// same request sent and the same answer parsed with libcurl and nlohmann-json alone, and with Qt's.
// The service is another process on the loopback interface. All are on one core.
#include <bench/figure.h>
#include <bench/notified_application.h>
#include <curl/curl.h>
#include <httplib.h>
#include <korvani/codec/json.h>
#include <korvani/qt/clock.h>
#include <korvani/qt/queues.h>
#include <korvani/qt/url_connection.h>
#include <korvani/qt/user_defaults.h>
#include <korvani/sdk/korvani.h>
#include <korvani/simulator/simulated_phone.h>
#include <sched.h>
#include <semaphore.h>
#include <signal.h>
#include <sys/prctl.h>
#include <time.h>
#include <unistd.h>

#include <QApplication>
#include <QEventLoop>
#include <QJsonDocument>
#include <QJsonObject>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTemporaryDir>
#include <algorithm>
#include <chrono>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <utility>

namespace korvani::bench {
namespace {

constexpr int kRounds = 9;
constexpr int kExchanges = 1000;
constexpr const char* kKey = "bench-key";
constexpr const char* kAnswer =
    R"({"success":true,"notification_text":"Half price on pears until noon","type":"IMG",)"
    R"("image":{"url":"http://127.0.0.1:8780/content/pears.png","action":"WVW"},)"
    R"("scenario_history_id":4711,"disabled":false})";

/// Processor time of all threads of this process, in seconds.
double processorTime() {
  timespec time{};
  ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

/// Starts the service and returns its port.
int startService() {
  int ends[2];
  if (::pipe(ends) != 0) throw std::runtime_error("no pipe");
  if (::fork() == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    httplib::Server server;
    server.set_tcp_nodelay(true);
    server.set_keep_alive_max_count(std::numeric_limits<std::size_t>::max());
    server.set_keep_alive_timeout(3600);
    server.Post("/.*", [](const httplib::Request&, httplib::Response& response) {
      response.set_content(kAnswer, "application/json");
    });
    const int port = server.bind_to_any_port("127.0.0.1");
    if (::write(ends[1], &port, sizeof port) == sizeof port) server.listen_after_bind();
    ::_exit(1);
  }
  int port = 0;
  if (::read(ends[0], &port, sizeof port) != sizeof port) throw std::runtime_error("no service");
  return port;
}

/// The Linux phone's, with the address of the service in place of the kit's own. It shows the body
/// of each request.
class Connection final : public platform::URLConnection {
 public:
  explicit Connection(std::string url) : url_(std::move(url)) {}
  void sendAsynchronousRequest(platform::URLRequest request, std::shared_ptr<platform::Queue> queue,
                               CompletionHandler handler) override {
    if (body.empty() && request.HTTPBody) body = *request.HTTPBody;
    request.url = url_;
    connection_.sendAsynchronousRequest(std::move(request), std::move(queue), std::move(handler));
  }
  std::optional<std::string> dataWithContentsOfURL(const platform::URL& url) override {
    return connection_.dataWithContentsOfURL(url);
  }
  std::string body;

 private:
  const std::string url_;
  qt::URLConnection connection_;
};

/// Those of the settings, which are written when the measurement says so: by themselves they would
/// be a moment later, in the event loop of Qt's own exchange.
class SettingsQueues final : public platform::Queues, private platform::Queue {
 public:
  explicit SettingsQueues(platform::Queues& queues) : queues_(queues) {
    ::sem_init(&written_, 0, 0);
  }
  platform::Queue& mainQueue() override { return queues_.mainQueue(); }
  void mainQueueAfter(std::chrono::milliseconds, platform::Job job) override {
    due_ = std::move(job);
  }
  platform::Queue& globalQueue(platform::QueuePriority) override { return *this; }
  std::shared_ptr<platform::Queue> newOperationQueue() override {
    return queues_.newOperationQueue();
  }
  /// Between two exchanges, when something has been set.
  void write() {
    std::exchange(due_, nullptr)();
    while (::sem_wait(&written_) != 0) continue;
  }

 private:
  void async(platform::Job job) override {
    queues_.globalQueue(platform::QueuePriority::kDefault).async([this, job = std::move(job)] {
      job();
      ::sem_post(&written_);
    });
  }

  platform::Queues& queues_;
  platform::Job due_;
  sem_t written_{};
};

/// What takes part in an exchange is the Linux phone's; the rest stands still.
class Phone final : public platform::ForwardingPlatform {
 public:
  Phone(const std::shared_ptr<simulator::SimulatedPhone>& rest, const std::string& url,
        const QString& settingsFile)
      : ForwardingPlatform(rest),
        store_(life_, settingsQueues, json_, settingsFile),
        connection(url) {
    ::sem_init(&handedOver, 0, 0);
    rest->setEffectHandler([](const simulator::Effect&) {});
    rest->settings().location = platform::Coordinate{48.856613, 2.352222};
  }
  platform::Clock& clock() override { return clock_; }
  platform::UserDefaults& standardUserDefaults() override { return store_; }
  platform::Queues& queues() override { return queues_; }
  platform::URLConnection& urlConnection() override { return connection; }
  platform::JSONSerialization& json() override { return json_; }
  platform::Application& application() override { return application_; }

 private:
  qt::ApplicationLife& life_ = qt::ApplicationLife::ofProcess();
  qt::Clock clock_{life_};
  qt::Queues queues_{life_};
  codec::JSON json_;

 public:
  SettingsQueues settingsQueues{queues_};

 private:
  qt::UserDefaults store_;
  NotifiedApplication application_{phone().application(),
                                   [this](const auto&) { ::sem_post(&handedOver); }};

 public:
  Connection connection;
  /// std::binary_semaphore would first spin, at the kit's cost.
  sem_t handedOver{};
};

class OfKit {
 public:
  explicit OfKit(Phone& phone) : phone_(phone) {
    Korvani::initWithAPIKey(kKey, nullptr, /*isProd=*/false);
    kit_ = Korvani::sharedInstance();
  }
  /// The beacon goes to and fro between two zones.
  void exchange() {
    beacons_[0].proximity ^= platform::kProximityNear ^ platform::kProximityFar;
    kit_->locationManagerDidRangeBeacons(nullptr, beacons_, nullptr);
    while (::sem_wait(&phone_.handedOver) != 0) continue;
  }
  /// What a while of exchanges leaves to be written.
  void finish() { phone_.settingsQueues.write(); }

 private:
  Phone& phone_;
  std::shared_ptr<platform::LocationManagerDelegate> kit_;
  std::vector<platform::Beacon> beacons_{
      {.proximityUUID = *platform::Uuid::fromString("5A1C0DE2-7B4E-4F19-9C3D-2E8B6F0A4D71"),
       .major = 1,
       .minor = 171,
       .proximity = platform::kProximityNear}};
};

/// One handle for all, as libcurl is fastest.
class OfLibcurl {
 public:
  OfLibcurl(const std::string& url, const std::string& body) {
    headers_ = curl_slist_append(nullptr, ("X-Api-Key: " + std::string(kKey)).c_str());
    curl_easy_setopt(curl_, CURLOPT_URL, url.c_str());
    curl_easy_setopt(curl_, CURLOPT_HTTPHEADER, headers_);
    curl_easy_setopt(curl_, CURLOPT_POSTFIELDSIZE, static_cast<long>(body.size()));
    curl_easy_setopt(curl_, CURLOPT_COPYPOSTFIELDS, body.c_str());
    curl_easy_setopt(curl_, CURLOPT_WRITEFUNCTION, &received);
    curl_easy_setopt(curl_, CURLOPT_WRITEDATA, &answer_);
  }
  void exchange() {
    answer_.clear();
    const CURLcode result = curl_easy_perform(curl_);
    if (result != CURLE_OK || !nlohmann::json::parse(answer_).value("success", false)) {
      throw std::runtime_error(curl_easy_strerror(result));
    }
  }

 private:
  static std::size_t received(const char* data, std::size_t size, std::size_t count, void* answer) {
    static_cast<std::string*>(answer)->append(data, size * count);
    return size * count;
  }

  CURL* const curl_ = curl_easy_init();
  curl_slist* headers_ = nullptr;
  std::string answer_;
};

class OfQt {
 public:
  OfQt(const std::string& url, const std::string& body)
      : request_(QUrl(QString::fromStdString(url))), body_(QByteArray::fromStdString(body)) {
    request_.setRawHeader("X-Api-Key", kKey);
    // The same bytes as the others, which ask for no compression.
    request_.setRawHeader("Accept-Encoding", "identity");
    request_.setHeader(QNetworkRequest::ContentTypeHeader,
                       QStringLiteral("application/x-www-form-urlencoded"));
  }
  void exchange() {
    QEventLoop loop;
    const std::unique_ptr<QNetworkReply> reply(manager_.post(request_, body_));
    QObject::connect(reply.get(), &QNetworkReply::finished, &loop, &QEventLoop::quit);
    loop.exec();
    if (!QJsonDocument::fromJson(reply->readAll())
             .object()
             .value(QLatin1String("success"))
             .toBool()) {
      throw std::runtime_error(reply->errorString().toStdString());
    }
  }

 private:
  QNetworkAccessManager manager_;
  QNetworkRequest request_;
  const QByteArray body_;
};

/// The processor time of one exchange, in microseconds, where it is less than the least so far.
template <typename Way>
void round(Way& way, double& least) {
  const double before = processorTime();
  for (int i = 0; i < kExchanges; ++i) way.exchange();
  if constexpr (requires { way.finish(); }) way.finish();
  least = std::min(least, 1e6 * (processorTime() - before) / kExchanges);
}

int run(int port) {
  const QTemporaryDir folder;
  const std::string url = "http://127.0.0.1:" + std::to_string(port) + "/scenario";
  const auto phone = std::make_shared<Phone>(std::make_shared<simulator::SimulatedPhone>(), url,
                                             folder.filePath(QStringLiteral("store.ini")));
  platform::Platform::install(phone);
  OfKit kit(*phone);
  kit.exchange();
  OfLibcurl libcurl(url, phone->connection.body);
  OfQt qt(url, phone->connection.body);
  double ofKit = std::numeric_limits<double>::max();
  double ofLibcurl = ofKit;
  double ofQt = ofKit;
  for (int i = 0; i < kRounds; ++i) {
    round(kit, ofKit);
    round(libcurl, ofLibcurl);
    round(qt, ofQt);
  }
  printRatio("scenario exchange", ofKit, "libcurl and nlohmann-json alone", ofLibcurl, 1.25, "us");
  printRatio("scenario exchange", ofKit, "QNetworkAccessManager and QJson", ofQt, 0.25, "us");
  // The phone is the process's, and its threads may still be at work.
  std::_Exit(0);
}

/// What it costs to wake another core is the machine's, and comes and goes with where the threads
/// happen to run: by a factor of two for those who wait for each other.
void stayOnOneCore() {
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(::sched_getcpu(), &one);
  if (::sched_setaffinity(0, sizeof one, &one) != 0) throw std::runtime_error("no core");
}

}  // namespace
}  // namespace korvani::bench

int main(int argc, char** argv) {
  korvani::bench::stayOnOneCore();
  const int port = korvani::bench::startService();
  qputenv("QT_QPA_PLATFORM", "offscreen");
  qputenv("no_proxy", "*");
  QApplication application(argc, argv);
  return korvani::bench::run(port);
}
