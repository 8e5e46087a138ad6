// The store over real files: what comes back after a restart, and what strangers left there.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvani/codec/json.h>
#include <korvani/qt/queues.h>
#include <korvani/qt/user_defaults.h>
#include <sys/fsuid.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRandomGenerator>
#include <QSize>
#include <QTemporaryDir>
#include <atomic>
#include <cmath>
#include <csignal>
#include <ctime>
#include <functional>
#include <limits>
#include <new>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "waiting.h"

namespace korvani::qt {
namespace {

using platform::Value;

class Store : public testing::Test {
 protected:
  QString path(const char* name) const { return folder_.filePath(QString::fromLatin1(name)); }
  /// The file as a new process reads it: Qt remembers files by their name.
  QString afresh(const QString& file) {
    const QString copy = path("copy") + QString::number(++copies_);
    EXPECT_TRUE(QFile::copy(file, copy));
    return copy;
  }
  UserDefaults open(const QString& file) { return UserDefaults(life_, queues_, json_, file); }
  static void write(const QString& file, const QByteArray& text) {
    QFile out(file);
    ASSERT_TRUE(out.open(QIODevice::WriteOnly));
    out.write(text);
  }

  ApplicationLife& life_ = ApplicationLife::ofProcess();
  Queues queues_{life_};
  codec::JSON json_;
  QTemporaryDir folder_;
  int copies_ = 0;
};

TEST_F(Store, KindsSurviveARestart) {
  const platform::Date date{std::chrono::milliseconds(1'763'200'000'123)};
  const Value values[] = {
      true,
      false,
      0,
      std::numeric_limits<std::int64_t>::min(),
      std::numeric_limits<std::uint64_t>::max(),
      1.5,
      2.0,
      0.1,
      -std::numeric_limits<double>::infinity(),
      date,
      platform::Date(std::chrono::milliseconds(-1)),
      "",
      "text",
      "true",
      "1",
      "@Invalid()",
      "@@",
      " spaces, \"quotes\"; \\ and \n lines \t",
      "h\u00e9 \U0001F600",
      "korvani:[true]",
      Value::Array{},
      Value::Array{1, "a", Value(), Value::Array{date}, 1.0},
      Value::Dictionary{},
      Value::Dictionary{{"date", 5}, {"real", "1"}, {"dictionary", Value::Dictionary{{"d", date}}}},
  };
  const QString file = path("kinds.ini");
  UserDefaults before = open(file);
  for (std::size_t i = 0; i < std::size(values); ++i) {
    before.setObject(values[i], "key" + std::to_string(i));
  }
  before.synchronize();
  const UserDefaults after = open(afresh(file));
  for (std::size_t i = 0; i < std::size(values); ++i) {
    const std::string key = "key" + std::to_string(i);
    EXPECT_EQ(before.objectForKey(key), values[i]) << values[i].description();
    EXPECT_EQ(after.objectForKey(key), values[i]) << values[i].description();
    EXPECT_EQ(after.dictionaryRepresentation().at(key), values[i]);
  }
  EXPECT_TRUE(after.objectForKey("never").isNull());
  EXPECT_FALSE(after.dictionaryRepresentation().has("never"));
}

TEST_F(Store, StandsBesideTheHostsOwnKeys) {
  const QString file = path("host.ini");
  write(file, "[General]\nvolume=11\n[window]\nsize=@Size(3 4)\n");
  UserDefaults store = open(file);
  store.setObject("x", "ours");
  store.setObject("y", "gone");
  store.synchronize();
  store.setObject(Value(), "gone");
  EXPECT_TRUE(store.objectForKey("gone").isNull());
  EXPECT_FALSE(store.dictionaryRepresentation().has("gone"));
  store.synchronize();
  const QSettings host(afresh(file), QSettings::IniFormat);
  EXPECT_EQ(host.value(QStringLiteral("window/size")).toSize(), QSize(3, 4));
  EXPECT_EQ(host.value(QStringLiteral("volume")).toInt(), 11);
  // The host can read our texts.
  EXPECT_EQ(host.value(QStringLiteral("ours")).toString(), QStringLiteral("x"));
  EXPECT_FALSE(host.contains(QStringLiteral("gone")));
}

TEST_F(Store, ForeignAndDamagedValuesDoNoHarm) {
  const QString file = path("foreign.ini");
  write(file,
        "[General]\nnumber=12\nlist=a, b\nbytes=@ByteArray(\\0\\xff)\nsize=@Size(3 4)\n"
        "nothing=@Invalid()\nbroken=@Variant(\\0)\nempty=\n"
        "half=\"korvani:[\"\ntwo=\"korvani:[1,2]\"\nmark=korvani:\nwrong=\"korvani:[{\\\"real\\\":"
        "\\\"x\\\"}]\"\n");
  const UserDefaults store = open(file);
  EXPECT_EQ(store.objectForKey("number"), Value("12"));
  EXPECT_EQ(store.objectForKey("list"), Value(Value::Array{"a", "b"}));
  EXPECT_EQ(store.objectForKey("half"), Value("korvani:["));
  EXPECT_EQ(store.objectForKey("two"), Value("korvani:[1,2]"));
  EXPECT_EQ(store.objectForKey("mark"), Value("korvani:"));
  EXPECT_EQ(store.objectForKey("empty"), Value(""));
  for (const char* key : {"nothing", "broken", "size", "wrong"}) {
    EXPECT_TRUE(store.objectForKey(key).isNull()) << key;
  }
  EXPECT_TRUE(store.dictionaryRepresentation().has("bytes"));

  // What the host sets in this process has kinds that the file would lose.
  QSettings host(file, QSettings::IniFormat);
  host.setValue(QStringLiteral("flag"), true);
  host.setValue(QStringLiteral("count"), -3);
  EXPECT_EQ(store.objectForKey("flag"), Value(true));
  EXPECT_EQ(store.objectForKey("count"), Value(-3));
}

/// Keeps what is for another thread.
class HeldQueues final : public platform::Queues, public platform::Queue {
 public:
  explicit HeldQueues(Queues& queues) : queues_(queues) {}
  platform::Queue& mainQueue() override { return queues_.mainQueue(); }
  void mainQueueAfter(std::chrono::milliseconds delay, platform::Job job) override {
    if (isFull) throw std::bad_alloc();
    queues_.mainQueueAfter(delay, std::move(job));
  }
  platform::Queue& globalQueue(platform::QueuePriority) override { return *this; }
  std::shared_ptr<platform::Queue> newOperationQueue() override { return nullptr; }
  void async(platform::Job job) override { held = std::move(job); }

  platform::Job held;
  bool isFull = false;

 private:
  Queues& queues_;
};

TEST_F(Store, WritesByItselfSoonOnAnotherThread) {
  const QString file = path("soon.ini");
  HeldQueues queues(queues_);
  UserDefaults store(life_, queues, json_, file);
  const auto write = [&] {
    runUntil([&] { return queues.held != nullptr; });
    std::thread(std::exchange(queues.held, nullptr)).join();
  };
  store.setObject(7, "a");
  store.setObject(8, "b");
  runUntil([&] { return queues.held != nullptr; });
  EXPECT_FALSE(QFile::exists(file));
  store.setObject(9, "b");
  write();
  EXPECT_EQ(open(afresh(file)).objectForKey("b"), Value(9));
  store.setObject(10, "b");
  EXPECT_EQ(store.objectForKey("b"), Value(10));
  write();
  EXPECT_EQ(open(afresh(file)).objectForKey("b"), Value(10));
  queues.isFull = true;
  EXPECT_THROW(store.setObject(11, "a"), std::bad_alloc);
  queues.isFull = false;
  store.setObject(12, "b");
  write();
  EXPECT_EQ(open(afresh(file)).objectForKey("a"), Value(11));
}

/// The phone's own lines while it lives.
class Warnings {
 public:
  Warnings() {
    texts().clear();
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext& context, const QString& text) {
      if (QLatin1String(context.category) == QLatin1String("korvani.phone")) {
        texts().push_back(text.toStdString());
      }
    });
  }
  ~Warnings() { qInstallMessageHandler(nullptr); }
  static std::vector<std::string>& texts() {
    static std::vector<std::string> texts;
    return texts;
  }
};

TEST_F(Store, KeepsInMemoryWhatCannotBeWritten) {
  const QString full = path("full.ini"), readOnly = path("read-only/settings.ini"),
                locked = path("locked.ini");
  ASSERT_TRUE(QDir(folder_.path()).mkdir(QStringLiteral("read-only")));
  for (const QString& file : {full, readOnly, locked}) write(file, "[General]\nold=1\n");
  ::chmod(folder_.path().toUtf8(), 0755);
  ::chmod(path("read-only").toUtf8(), 0555);
  // What a process leaves that was killed, or whose machine stopped, just when it took the lock.
  write(locked + QStringLiteral(".lock"), "");
  ::signal(SIGXFSZ, SIG_IGN);
  rlimit space{};
  ::getrlimit(RLIMIT_FSIZE, &space);
  const auto limitSpace = [&](rlim_t bytes) {
    const rlimit limit{bytes, space.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &limit);
  };
  const auto nothing = [] {};
  struct Case {
    QString file;
    std::function<void()> begin, end;
    bool lasts = false;
  };
  const Case cases[] = {
      {QStringLiteral("/dev/null/settings.ini"), nothing, nothing, true},
      // Root may write everywhere, another user not.
      {readOnly, [] { ::setfsuid(65534); }, [] { ::setfsuid(::geteuid()); }},
      {full, [&] { limitSpace(64); }, [&] { limitSpace(space.rlim_cur); }},
      {locked, nothing, [&] { QFile::remove(locked + QStringLiteral(".lock")); }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.file.toStdString());
    const Warnings warnings;
    const std::string value(100, 'v');
    UserDefaults store = open(c.file);
    c.begin();
    store.setObject(value, "key");
    store.synchronize();
    store.synchronize();
    c.end();
    EXPECT_EQ(store.objectForKey("key"), Value(value));
    EXPECT_THAT(Warnings::texts(),
                testing::ElementsAre(c.file.toStdString() +
                                     " cannot be written: settings are kept in memory"));
    if (c.lasts) continue;
    EXPECT_EQ(open(afresh(c.file)).dictionaryRepresentation(),
              Value(Value::Dictionary{{"old", "1"}}));
    ::chmod(path("read-only").toUtf8(), 0755);
    store.synchronize();
    EXPECT_EQ(open(afresh(c.file)).objectForKey("key"), Value(value));
  }
}

TEST_F(Store, DamageCostsNoMoreThanWhatItHits) {
  const QString file = path("whole.ini");
  {
    UserDefaults store = open(file);
    store.setObject("0F4D71A2-7B4E-4F19-9C3D-2E8B6F0A4D71", "device_registration_id");
    store.setObject(true, "KVNotificationDisable");
    store.setObject(platform::Date(std::chrono::milliseconds(1'763'200'000'123)), "KVLastRequest");
    store.synchronize();
  }
  QFile in(file);
  ASSERT_TRUE(in.open(QIODevice::ReadOnly));
  const QByteArray whole = in.readAll();
  std::size_t said = 0;
  for (qsizetype at = 0; at < whole.size(); ++at) {
    QByteArray flipped = whole, lost = whole;
    flipped[at] = static_cast<char>(flipped[at] ^ 0x55);
    lost[at] = 0;
    for (const QByteArray& damaged : {flipped, lost, whole.left(at), whole.mid(at)}) {
      SCOPED_TRACE(damaged.toStdString());
      const QString copy = path("damaged") + QString::number(++copies_);
      write(copy, damaged);
      const Warnings warnings;
      UserDefaults store = open(copy);
      EXPECT_LE(store.dictionaryRepresentation().dictionary()->size(), 4U);
      if (at % 16 == 0) {
        store.setObject(7, "new");
        store.synchronize();
        EXPECT_EQ(open(afresh(copy)).objectForKey("new"), Value(7));
      }
      for (const std::string& text : Warnings::texts()) {
        EXPECT_EQ(text, copy.toStdString() + " is damaged: what cannot be read counts as not set");
      }
      EXPECT_LE(Warnings::texts().size(), 1U);
      said += Warnings::texts().size();
    }
  }
  EXPECT_GE(said, 3U) << "a key without its equals sign, at least";
}

TEST_F(Store, AKilledWriterLeavesTheOldOrTheNew) {
  const QString file = path("killed.ini");
  write(file, "[window]\nsize=@Size(3 4)\n");
  struct Progress {
    std::atomic<int> begun, done;
  };
  void* const shared =
      ::mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  auto& progress = *new (shared) Progress{};
  const unsigned seed = std::random_device()();
  SCOPED_TRACE(seed);
  std::mt19937 random(seed);
  constexpr const char* kKeys[] = {"a", "b", "c"};
  constexpr int kKills = STORE_KILLS;
  std::uniform_int_distribution<long> nanoseconds(1, 5'000'000);
  for (int kill = 0; kill < kKills; ++kill) {
    itimerspec moment{};
    moment.it_value.tv_nsec = nanoseconds(random);
    const pid_t writer = ::fork();
    if (writer == 0) {
      // Or it draws the same names for temporary files as the last one, which may have left one.
      QRandomGenerator::global()->discard(1000ULL * static_cast<unsigned>(kill));
      UserDefaults store = open(file);
      sigevent deadly{};
      deadly.sigev_notify = SIGEV_SIGNAL;
      deadly.sigev_signo = SIGKILL;
      timer_t timer{};
      ::timer_create(CLOCK_MONOTONIC, &deadly, &timer);
      const int first = progress.done + 1;
      for (int i = first;; ++i) {
        if (i == first + 1) ::timer_settime(timer, 0, &moment, nullptr);
        progress.begun = i;
        for (const char* key : kKeys) store.setObject(i, key);
        store.synchronize();
        progress.done = i;
      }
    }
    int status = 0;
    ASSERT_EQ(::waitpid(writer, &status, 0), writer);
    ASSERT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL);
    const Value all = open(afresh(file)).dictionaryRepresentation();
    EXPECT_TRUE(all.has("window/size")) << "the host's own";
    for (const char* key : kKeys) EXPECT_EQ(all.at(key), all.at(kKeys[0]));
    const std::int64_t* const kept = all.at(kKeys[0]).integer();
    const int now = kept ? static_cast<int>(*kept) : 0;
    EXPECT_TRUE(now == progress.done || now == progress.begun)
        << now << " after " << progress.done << " and " << progress.begun;
    progress.done = now;
    // Taken and not yet signed, it is let go of only after half a minute; so is the one by which a
    // signed one is let go of.
    for (const char* ending : {".lock", ".lock.rmlock"}) {
      const QString lock = file + QLatin1String(ending);
      if (QFileInfo(lock).size() == 0) QFile::remove(lock);
    }
  }
  EXPECT_GE(progress.done, kKills) << "each writer writes once at least";
}

TEST_F(Store, AnyThread) {
  const QString file = path("threads.ini");
  UserDefaults store = open(file);
  const auto work = [&](int self) {
    const std::string key = "thread" + std::to_string(self);
    for (int i = 0; i < 50; ++i) {
      store.setObject(i, key);
      EXPECT_EQ(store.objectForKey(key), Value(i));
      if (i % 10 == 0) store.synchronize();
    }
  };
  std::thread one(work, 1);
  std::thread two(work, 2);
  one.join();
  two.join();
  store.synchronize();
  const Value all = open(afresh(file)).dictionaryRepresentation();
  EXPECT_EQ(all, Value(Value::Dictionary{{"thread1", 49}, {"thread2", 49}}));
}

}  // namespace
}  // namespace korvani::qt
