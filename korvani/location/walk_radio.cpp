// Wakes for each advertisement of the walk while somebody listens.
#include <korvani/location/walk_radio.h>

#include <algorithm>
#include <utility>

namespace korvani::location {

namespace {

using std::chrono::milliseconds;

/// What was sent longer ago, while the thread did something else, is lost as on a real radio.
constexpr milliseconds kKeptFor{1000};

}  // namespace

WalkRadio::WalkRadio(platform::Queues& queues, MomentSource now, std::optional<Walk> walk,
                     std::string failure)
    : queues_(queues),
      now_(std::move(now)),
      walk_(std::move(walk)),
      failure_(std::move(failure)),
      begin_(now_()) {}

void WalkRadio::setListener(std::weak_ptr<AdvertisementListener> listener) {
  listener_ = std::move(listener);
  if (walk_) return;
  queues_.mainQueue().async([self = shared_from_this()] {
    if (const auto told = self->listener_.lock()) told->availabilityChanged(self->failure_);
  });
}

void WalkRadio::listen(const Listening& wanted) {
  const bool wasOff = wanted_.level == Listening::Level::kOff;
  wanted_ = wanted;
  if (!walk_ || wanted_.level == Listening::Level::kOff) return;
  if (wasOff) heardUntil_ = sinceBegin();
  if (std::exchange(isHearing_, true)) return;
  queues_.mainQueue().async([self = shared_from_this()] { self->hearOn(); });
}

/// Hears all that was sent since the last time, and waits for the next.
void WalkRadio::hearOn() {
  isHearing_ = wanted_.level != Listening::Level::kOff;
  if (!isHearing_) return;
  const milliseconds now = sinceBegin();
  const milliseconds from = std::max(heardUntil_, now - kKeptFor);
  heardUntil_ = now;
  milliseconds next = milliseconds::max();
  for (std::size_t beacon = 0; beacon < walk_->beacons.size(); ++beacon) {
    std::int64_t number = firstAfter(beacon, from);
    for (; walk_->timeOf(beacon, number) <= now; ++number) hear(beacon, number);
    next = std::min(next, walk_->timeOf(beacon, number));
  }
  queues_.mainQueueAfter(next - now, [self = weak_from_this()] {
    if (const auto radio = self.lock()) radio->hearOn();
  });
}

void WalkRadio::hear(std::size_t beacon, std::int64_t number) {
  const auto reception = walk_->received(beacon, number);
  const auto heard = reception ? iBeaconIn(reception->data) : std::nullopt;
  if (!heard) return;
  const bool hearsAll = wanted_.level == Listening::Level::kFull;
  if (!hearsAll && heard->proximityUUID != wanted_.presenceOf) return;
  if (const auto listener = listener_.lock()) listener->beaconHeard(*heard, reception->rssi);
}

std::int64_t WalkRadio::firstAfter(std::size_t beacon, milliseconds moment) const {
  const milliseconds first = walk_->timeOf(beacon, 0);
  return moment < first ? 0 : (moment - first) / walk_->beacons[beacon].period + 1;
}

milliseconds WalkRadio::sinceBegin() const { return now_() - begin_; }

}  // namespace korvani::location
