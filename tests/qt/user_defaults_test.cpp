// The store over real files: what comes back after a restart, and what strangers left there.
#include <gtest/gtest.h>
#include <korvani/codec/json.h>
#include <korvani/qt/queues.h>
#include <korvani/qt/user_defaults.h>

#include <QFile>
#include <QSize>
#include <QTemporaryDir>
#include <cmath>
#include <limits>
#include <thread>

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

TEST_F(Store, WritesByItselfSoon) {
  const QString file = path("soon.ini");
  UserDefaults store = open(file);
  store.setObject(7, "a");
  store.setObject(8, "b");
  runUntil([&] { return QFile::exists(file); });
  EXPECT_EQ(open(afresh(file)).objectForKey("b"), Value(8));
}

TEST_F(Store, KeepsInMemoryWhatCannotBeWritten) {
  static int warnings = 0;
  qInstallMessageHandler([](QtMsgType type, const QMessageLogContext& context, const QString&) {
    if (type == QtWarningMsg && QLatin1String(context.category) == QLatin1String("korvani.phone")) {
      ++warnings;
    }
  });
  UserDefaults store = open(QStringLiteral("/dev/null/settings.ini"));
  store.setObject("kept", "key");
  store.synchronize();
  store.synchronize();
  EXPECT_EQ(store.objectForKey("key"), Value("kept"));
  EXPECT_EQ(warnings, 1);
  qInstallMessageHandler(nullptr);
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
