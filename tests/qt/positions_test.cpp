// Positions from sources that come, fail and go, and the question whether they may be used.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <korvani/qt/positions.h>

#include <QDBusArgument>
#include <QDBusObjectPath>
#include <QDateTime>
#include <QGuiApplication>
#include <QTemporaryDir>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "fake_services.h"
#include "log_lines.h"
#include "private_bus.h"

namespace korvani::qt {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Source = QGeoPositionInfoSource;

class FakeSource final : public Source {
 public:
  using Source::Source;
  QGeoPositionInfo lastKnownPosition(bool) const override { return {}; }
  PositioningMethods supportedPositioningMethods() const override { return AllPositioningMethods; }
  int minimumUpdateInterval() const override { return 0; }
  Error error() const override { return NoError; }
  void startUpdates() override {
    isRunning = preferredPositioningMethods() == AllPositioningMethods;
    if (failure != NoError) Q_EMIT errorOccurred(failure);
  }
  void stopUpdates() override { isRunning = false; }
  void requestUpdate(int) override {}
  void fix(double latitude, double longitude, int second) {
    Q_EMIT positionUpdated({{latitude, longitude}, QDateTime::fromSecsSinceEpoch(second)});
  }

  bool isRunning = false;
  /// Comes from inside the start.
  Error failure = NoError;
};

class Listener final : public location::PositionListener {
 public:
  void positionFailureChanged(const std::optional<std::string>& failure) override {
    told.push_back(failure.value_or("none"));
  }
  std::vector<std::string> told;
};

class PositionsTest : public testing::Test {
 protected:
  PositionsTest() { positions_.setListener(listener_); }

  /// Read by another thread, as any may.
  std::pair<double, double> last() const {
    std::optional<platform::Coordinate> coordinate;
    std::thread([&] { coordinate = positions_.lastCoordinate(); }).join();
    return coordinate ? std::pair(coordinate->latitude, coordinate->longitude) : std::pair(0., 0.);
  }
  void runUntilMade(int count) {
    runUntil([this, count] { return made_ == count; });
  }

  const LogLines log_;
  const std::shared_ptr<Listener> listener_ = std::make_shared<Listener>();
  std::vector<std::string>& told_ = listener_->told;
  int made_ = 0;
  bool isThere_ = true;
  Source::Error failure_ = Source::NoError;
  FakeSource* source_ = nullptr;
  Positions positions_{[this](QObject* parent) {
                         ++made_;
                         source_ = isThere_ ? new FakeSource(parent) : nullptr;
                         if (source_ != nullptr) source_->failure = failure_;
                         return source_;
                       },
                       std::chrono::milliseconds(1)};
};

TEST_F(PositionsTest, TheLastFixStays) {
  EXPECT_EQ(made_, 0);
  positions_.start();
  EXPECT_TRUE(source_->isRunning);
  EXPECT_EQ(positions_.lastCoordinate(), std::nullopt);
  source_->fix(1, 2, 10);
  source_->fix(std::numeric_limits<double>::quiet_NaN(), 2, 11);
  source_->fix(91, 2, 12);
  Q_EMIT source_->positionUpdated(QGeoPositionInfo());
  EXPECT_EQ(last(), std::pair(1., 2.));
  positions_.stop();
  EXPECT_FALSE(source_->isRunning);
  source_->fix(3, 4, 13);
  EXPECT_EQ(last(), std::pair(1., 2.));
  positions_.start();
  EXPECT_EQ(last(), std::pair(1., 2.));
  source_->fix(-3, -4, 14);
  EXPECT_EQ(last(), std::pair(-3., -4.));
}

TEST_F(PositionsTest, EachFailureIsToldOnceAndTriedAnew) {
  isThere_ = false;
  positions_.start();
  EXPECT_THAT(told_, IsEmpty());  // Not from inside the call.
  runUntilMade(3);
  isThere_ = true;
  failure_ = Source::AccessError;
  runUntilMade(5);
  failure_ = Source::ClosedError;
  runUntilMade(7);
  failure_ = Source::NoError;
  runUntilMade(8);
  runUntil([this] { return source_->isRunning && told_.size() == 3; });
  Q_EMIT source_->errorOccurred(Source::UpdateTimeoutError);
  EXPECT_TRUE(source_->isRunning);
  runUntil([this] { return told_.size() == 4; });
  source_->fix(1, 2, 10);
  runUntil([this] { return told_.size() == 5; });
  EXPECT_THAT(told_, ElementsAre(HasSubstr("install GeoClue"), HasSubstr("not allowed"),
                                 HasSubstr("has stopped"), HasSubstr("Wi-Fi"), "none"));
  EXPECT_THAT(log_.lines(), ElementsAre(told_[0], told_[1], told_[2], told_[3]));
  EXPECT_EQ(made_, 8);

  // What is only repeated from before the failure is no position that comes again.
  failure_ = Source::UnknownSourceError;
  Q_EMIT source_->errorOccurred(failure_);
  runUntil([this] { return told_.size() == 6; });
  failure_ = Source::NoError;
  runUntil([this] { return source_->isRunning; });
  source_->fix(1, 2, 10);
  bool wouldBeTold = false;
  QTimer::singleShot(1, [&] { wouldBeTold = true; });  // Due later than what is told.
  runUntil([&] { return wouldBeTold; });
  Q_EMIT source_->errorOccurred(Source::AccessError);
  runUntil([this] { return told_.size() >= 7; });
  EXPECT_THAT(told_[6], HasSubstr("not allowed"));
}

/// Through Qt's own source, which waits for the answers of a GeoClue that is awake.
TEST(SystemPositionsTest, ComeFromGeoClue) {
  const PrivateBus bus;
  const QTemporaryDir home;
  qputenv("XDG_DATA_HOME", home.path().toLocal8Bit());
  QGuiApplication::setDesktopFileName(QStringLiteral("shop"));
  const auto listener = std::make_shared<Listener>();
  Positions positions(nullptr, std::chrono::milliseconds(1));
  positions.setListener(listener);
  positions.start();
  runUntil([&] { return listener->told.size() == 1; });
  auto geoClue = std::make_unique<MockService>(
      QStringLiteral("org.freedesktop.GeoClue2"), QString(),
      QStringList{QStringLiteral("--template"), QStringLiteral(FAKE_GEOCLUE)});
  runUntil([&] { return positions.lastCoordinate().has_value(); });
  EXPECT_EQ(positions.lastCoordinate()->latitude, 48.5);
  EXPECT_EQ(positions.lastCoordinate()->longitude, 2.25);
  runUntil([&] { return listener->told.size() == 2; });
  geoClue.reset();
  runUntil([&] { return listener->told.size() == 3; });
  EXPECT_THAT(listener->told,
              ElementsAre(HasSubstr("install GeoClue"), "none", HasSubstr("has stopped")));
}

TEST(LocationPermissionTest, OneQuestionAtATime) {
  const LogLines log;
  const PrivateBus bus;
  FakeServices portal, stranger(QStringLiteral("stranger"));
  const QString name = QStringLiteral("org.freedesktop.portal.Desktop");
  const QString create = QStringLiteral("CreateSession");
  const QString close = QStringLiteral("Close");
  const QString requests = QStringLiteral("org.freedesktop.portal.Request");
  QString request;
  bool answersAtOnce = false;
  const auto answer = [&](uint response) {
    portal.tell(std::exchange(request, QString()), requests, "Response", {response, QVariantMap()});
  };
  portal.answers[create] = [](const QDBusMessage&) {
    return QVariant::fromValue(QDBusObjectPath(QStringLiteral("/session")));
  };
  portal.answers[QStringLiteral("Start")] = [&](const QDBusMessage& call) {
    const auto options = qdbus_cast<QVariantMap>(call.arguments().value(2));
    request = QStringLiteral("/org/freedesktop/portal/desktop/request/%1/%2")
                  .arg(call.service().mid(1).replace(QLatin1Char('.'), QLatin1Char('_')),
                       options.value(QStringLiteral("handle_token")).toString());
    const QDBusObjectPath path(request);
    if (answersAtOnce) answer(0);
    return QVariant::fromValue(path);
  };
  portal.answers[close] = [](const QDBusMessage&) { return true; };

  LocationPermission permission;
  permission.ask();  // Nobody is there yet.
  portal.enter(name);
  runUntil([&] {
    permission.ask();
    return !request.isEmpty();
  });
  for (int i = 0; i < 3; ++i) permission.ask();
  stranger.tell(request, requests, "Response", {0U, QVariantMap()});
  stranger.settle();
  answer(1);
  runUntil([&] { return portal.calls[close] == 1; });
  EXPECT_THAT(log.lines(), ElementsAre("the user does not allow the position"));
  EXPECT_EQ(portal.calls[create], 1);
  // An answer that overtakes the reply; a portal that goes with the question open.
  answersAtOnce = true;
  permission.ask();
  runUntil([&] { return portal.calls[close] == 2; });
  answersAtOnce = false;
  permission.ask();
  runUntil([&] { return !request.isEmpty(); });
  EXPECT_EQ(portal.calls[create], 3);
  portal.leave(name);
  portal.enter(name);
  runUntil([&] {
    permission.ask();
    return portal.calls[create] == 4;
  });
}

}  // namespace
}  // namespace korvani::qt
