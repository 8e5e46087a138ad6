// The beacons in range, each with its distance, as long as they count as there.
#pragma once

#include <korvani/location/advertisement.h>
#include <korvani/location/proximity_estimator.h>
#include <korvani/platform/location_manager.h>

#include <list>
#include <map>
#include <tuple>
#include <vector>

namespace korvani::location {

/// A beacon is its UUID, major and minor, whatever address it sends from. Its memory is bounded:
/// for one beacon too many the longest unheard makes room.
class BeaconTable {
 public:
  struct Row {
    platform::Beacon beacon;
    Moment lastHeard;
  };

  explicit BeaconTable(const LocationSettings& settings)
      : settings_(settings.ranging), model_(settings.proximity) {}
  BeaconTable(const BeaconTable&) = delete;
  BeaconTable& operator=(const BeaconTable&) = delete;

  /// Whether another beacon had to make room. Nothing is allocated for a beacon that is known.
  bool heard(const IBeacon& beacon, int rssi, Moment now);
  /// In the order in which they were first heard; those of one UUID, or all. The RSSI is that of
  /// the last advertisement that had one.
  std::vector<Row> rows(Moment now, const platform::Uuid* only = nullptr);
  /// Nobody listened for so long until now: that silence does not count.
  void skip(std::chrono::milliseconds missed, Moment now);
  void clear();

 private:
  struct Key {
    /// First what differs most.
    std::uint16_t minor;
    std::uint16_t major;
    platform::Uuid proximityUUID;
    friend bool operator<(const Key& a, const Key& b) {
      return std::tie(a.minor, a.major, a.proximityUUID.bytes()) <
             std::tie(b.minor, b.major, b.proximityUUID.bytes());
    }
  };
  struct Entry {
    Key key;
    std::uint64_t order;
    Moment lastHeard;
    int rssi;
    ProximityEstimator estimator;
  };

  Entry& entryOf(const Key& key);
  void forget(Moment now);
  void dropLongestUnheard();
  Row rowOf(Entry& entry, Moment now) const;

  const RangingSettings settings_;
  const SignalModel model_;
  /// The longest unheard in front.
  std::list<Entry> entries_;
  std::map<Key, std::list<Entry>::iterator> places_;
  std::uint64_t nextOrder_ = 0;
};

}  // namespace korvani::location
