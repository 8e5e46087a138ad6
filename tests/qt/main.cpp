// Runs each case with a QApplication, which the case may end early.
#include <gtest/gtest.h>

#include <QApplication>

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  // The sandbox of a builder may send web traffic through a proxy; the servers of tests are here.
  qputenv("no_proxy", "*");
  new QApplication(argc, argv);
  QCoreApplication::setOrganizationName(QStringLiteral("Korvani tests"));
  QCoreApplication::setApplicationName(QStringLiteral("phone"));
  const int result = RUN_ALL_TESTS();
  delete QCoreApplication::instance();
  return result;
}
