// The background in a Wayland session, whose compositor (sway, see under_sway) hides windows.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvani/qt/lifecycle.h>

#include <QEvent>
#include <QProcess>
#include <QWidget>
#include <string>
#include <vector>

#include "waiting.h"

namespace korvani::qt {
namespace {

void sway(const QString& command) {
  ASSERT_EQ(QProcess::execute(QStringLiteral("swaymsg"), {QStringLiteral("--quiet"), command}), 0);
}

class Window final : public QWidget {
 public:
  int paints = 0;

 protected:
  void paintEvent(QPaintEvent*) override { ++paints; }
};

TEST(WaylandTest, TheBackgroundIsWhereTheCompositorTakesNoFrames) {
  std::vector<std::string> told;
  const Lifecycle lifecycle([&] { told.emplace_back("background"); },
                            [&] { told.emplace_back("active"); });
  const auto becomes = [&](const char* what) {
    runUntil([&] { return !told.empty(); });
    EXPECT_THAT(told, testing::ElementsAre(what));
    told.clear();
  };
  Window window;
  window.show();
  becomes("active");
  sway(QStringLiteral("workspace elsewhere"));
  becomes("background");
  sway(QStringLiteral("workspace 1"));
  becomes("active");

  // Another output has the focus now, and this one is in sight all the same.
  sway(QStringLiteral("create_output"));
  sway(QStringLiteral("focus output HEADLESS-2"));
  const int before = window.paints;
  runUntil([&] { return window.paints > before + 4; });
  EXPECT_TRUE(told.empty());
  sway(QStringLiteral("[title=\".*\"] move scratchpad"));
  becomes("background");
  sway(QStringLiteral("scratchpad show"));
  becomes("active");
}

}  // namespace
}  // namespace korvani::qt
