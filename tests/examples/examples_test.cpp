// Runs each example until its kit has started, and has it end.
#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QProcess>
#include <QTemporaryDir>
#include <csignal>

namespace {

/// What the kit keeps from its first start on, in the store of a host that has just come.
QByteArray storeIn(const QString& folder) {
  QDir settings(folder + "/Korvani examples");
  QByteArray all;
  for (const QString& name : settings.entryList({"*.conf"}, QDir::Files)) {
    QFile file(settings.filePath(name));
    if (file.open(QIODevice::ReadOnly)) all += file.readAll();
  }
  return all;
}

TEST(Examples, StartTheKitAndEnd) {
  int argc = 0;
  const QCoreApplication application(argc, nullptr);
  for (const char* const program : {WIDGETS_HOST, QUICK_HOST}) {
    const QTemporaryDir folder;
    QProcess host;
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert("QT_QPA_PLATFORM", "offscreen");
    environment.insert("QT_QUICK_BACKEND", "software");
    environment.insert("XDG_CONFIG_HOME", folder.path());
    environment.insert("no_proxy", "*");
    host.setProcessEnvironment(environment);
    host.setProcessChannelMode(QProcess::ForwardedChannels);
    host.start(program, QStringList());
    constexpr int kLookAgainMilliseconds = 20;
    while (!storeIn(folder.path()).contains("device_registration_id")) {
      ASSERT_FALSE(host.waitForFinished(kLookAgainMilliseconds)) << program << " has ended";
      ASSERT_NE(host.state(), QProcess::NotRunning) << program << " does not start";
    }
    host.terminate();
    host.waitForFinished(-1);
    EXPECT_EQ(host.exitStatus(), QProcess::CrashExit) << program << " ended by itself";
    EXPECT_EQ(host.exitCode(), SIGTERM) << program;
  }
}

}  // namespace
