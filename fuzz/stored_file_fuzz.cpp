// Any bytes as the settings file, as a damaged disk or another program leaves it: at most one line
// tells of it, and what is set then is there afterwards.
#include <korvani/codec/json.h>
#include <korvani/qt/queues.h>
#include <korvani/qt/user_defaults.h>

#include <QCoreApplication>
#include <QFile>
#include <QTemporaryDir>
#include <string_view>

#include "input.h"

using namespace korvani;
using fuzz::require;
using platform::Value;

namespace {

int linesOfThePhone = 0;

void count(QtMsgType, const QMessageLogContext& context, const QString&) {
  if (context.category == std::string_view("korvani.phone")) ++linesOfThePhone;
}

/// What stores need, and files of their own: Qt remembers what it has read by the file's name.
class World {
 public:
  World() { qInstallMessageHandler(&count); }

  QString newFile() { return folder_.filePath(QString::number(++files_)); }
  QString copyOf(const QString& file) {
    const QString copy = newFile();
    require(QFile::copy(file, copy), "what is written can be read");
    return copy;
  }
  qt::UserDefaults open(const QString& file) {
    return qt::UserDefaults(life_, queues_, json_, file);
  }

 private:
  qt::ApplicationLife& life_ = qt::ApplicationLife::ofProcess();
  qt::Queues queues_{life_};
  const codec::JSON json_;
  // In memory where there is such a folder: each input is a file, and synchronized.
  const QTemporaryDir folder_{
      (QDir(QStringLiteral("/dev/shm")).exists() ? QStringLiteral("/dev/shm") : QDir::tempPath()) +
      QStringLiteral("/stored_file_fuzz-XXXXXX")};
  int files_ = 0;
};

World& world() {
  static int argumentCount = 1;
  static char program[] = "stored_file_fuzz";
  static char* arguments[] = {program, nullptr};
  static const QCoreApplication application(argumentCount, arguments);
  static World world;
  return world;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  World& here = world();
  const QString file = here.newFile();
  QFile out(file);
  require(out.open(QIODevice::WriteOnly), "there is a folder for files");
  out.write(reinterpret_cast<const char*>(bytes), static_cast<qint64>(size));
  out.close();

  linesOfThePhone = 0;
  const Value set = Value::Dictionary{{"text", "korvani:"}, {"list", Value::Array{1, "a"}}};
  {
    qt::UserDefaults store = here.open(file);
    store.dictionaryRepresentation();
    store.setObject(set, "korvani_new");
    store.synchronize();
    require(linesOfThePhone <= 1, "damage is told once, and the file can be written");
  }
  const QString copy = here.copyOf(file);
  require(here.open(copy).objectForKey("korvani_new") == set, "what is set is there");
  QFile::remove(file);
  QFile::remove(copy);
  return 0;
}
