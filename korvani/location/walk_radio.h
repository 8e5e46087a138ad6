// A radio that hears the beacons of a walk, in place of the real one.
#pragma once

#include <korvani/location/advertisement_source.h>
#include <korvani/location/moment.h>
#include <korvani/location/walk.h>
#include <korvani/platform/queues.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace korvani::location {

/// Main thread. The walk begins with the making of the radio. What it hears are bytes, read as
/// those of a real radio are. Without a walk it is a radio that fails, for the reason given.
class WalkRadio final : public AdvertisementSource, public std::enable_shared_from_this<WalkRadio> {
 public:
  /// The queues must outlive the last job of the main queue.
  WalkRadio(platform::Queues& queues, MomentSource now, std::optional<Walk> walk,
            std::string failure);

  void setListener(std::weak_ptr<AdvertisementListener> listener) override;
  void listen(const Listening& wanted) override;

 private:
  void hearOn();
  void hear(std::size_t beacon, std::int64_t number);
  std::int64_t firstAfter(std::size_t beacon, std::chrono::milliseconds moment) const;
  std::chrono::milliseconds sinceBegin() const;

  platform::Queues& queues_;
  const MomentSource now_;
  const std::optional<Walk> walk_;
  const std::string failure_;
  const Moment begin_;
  std::weak_ptr<AdvertisementListener> listener_;
  Listening wanted_;
  bool isHearing_ = false;
  /// All before are over.
  std::chrono::milliseconds heardUntil_{0};
};

}  // namespace korvani::location
