// Runs each case with a QApplication, which the case may end early.
#include <gtest/gtest.h>
#include <korvani/platform/export.h>

#include <QApplication>

#ifdef __SANITIZE_THREAD__
// Qt is not built for ThreadSanitizer, which sees what Qt's threads allocate and free but not how
// they wait for each other. Our own code stays under watch, in callbacks of Qt as well.
extern "C" KORVANI_EXPORT const char* __tsan_default_suppressions() {
  return "called_from_lib:libQt6Core\ncalled_from_lib:libQt6Gui\ncalled_from_lib:"
         "libQt6DBus\ncalled_from_lib:libglib-2.0\nmutex:libQt6WaylandClient\n";
}
// Starting a mock service looks to it like a fork that goes on with threads.
extern "C" KORVANI_EXPORT const char* __tsan_default_options() { return "die_after_fork=0"; }
#endif

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  // The sandbox of a builder may send web traffic through a proxy; the servers of tests are here.
  qputenv("no_proxy", "*");
  auto* application = new QApplication(argc, argv);
  QCoreApplication::setOrganizationName(QStringLiteral("Korvani tests"));
  QCoreApplication::setApplicationName(QStringLiteral("phone"));
  const int result = RUN_ALL_TESTS();
  delete application;
  return result;
}
