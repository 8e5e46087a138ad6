// The position port on Qt Positioning, which speaks to GeoClue on Linux.
#pragma once

#include <korvani/location/position_source.h>
#include <korvani/platform/atomic.h>
#include <korvani/qt/location_permission.h>

#include <QGeoPositionInfoSource>
#include <QObject>
#include <QTimer>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace korvani::qt {

/// The source is made with each start and dropped with each stop. One that is absent or fails is
/// tried anew, at longer and longer intervals.
class Positions final : public QObject, public location::PositionSource {
 public:
  /// Makes a child of `parent`, or nothing where there is no source.
  using MakeSource = std::function<QGeoPositionInfoSource*(QObject* parent)>;

  /// Without a maker: the system's own source, once GeoClue is awake.
  explicit Positions(MakeSource makeSource = nullptr,
                     std::chrono::milliseconds firstRetry = std::chrono::seconds(10));
  ~Positions() override;

  void setListener(std::weak_ptr<location::PositionListener> listener) override;
  void start() override;
  void stop() override;
  std::optional<platform::Coordinate> lastCoordinate() const override;
  void requestAlwaysAuthorization() override { permission_.ask(); }

 private:
  void open();
  void wakeGeoClue();
  void openSystemSource(bool isGeoClueThere);
  void run(QGeoPositionInfoSource* source);
  void drop();
  void take(const QGeoPositionInfo& fix);
  void sourceFailed(QGeoPositionInfoSource::Error error);
  void failAndRetry(const char* failure);
  void setFailure(std::optional<std::string> failure);
  void tellFailure();

  const MakeSource makeSource_;
  const std::chrono::milliseconds firstRetry_;
  std::chrono::milliseconds nextRetry_{};
  LocationPermission permission_;
  std::weak_ptr<location::PositionListener> listener_;
  bool isStarted_ = false;
  bool isWaking_ = false;
  bool isWatchingGeoClue_ = false;
  QGeoPositionInfoSource* source_ = nullptr;
  QGeoPositionInfo lastFix_;
  platform::Atomic<std::optional<platform::Coordinate>> lastCoordinate_;
  std::optional<std::string> failure_;
  std::optional<std::string> toldFailure_;
  QTimer retryTimer_;
  QTimer tellTimer_;
};

}  // namespace korvani::qt
