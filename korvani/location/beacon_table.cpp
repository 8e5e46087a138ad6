// Keeps the beacons in order of their last advertisement: what is to be forgotten stands in front.
#include <korvani/location/beacon_table.h>

#include <algorithm>

namespace korvani::location {

bool BeaconTable::heard(const IBeacon& beacon, int rssi, Moment now) {
  forget(now);
  Entry& entry = entryOf({beacon.minor, beacon.major, beacon.proximityUUID});
  entry.lastHeard = now;
  if (ProximityEstimator::isUsable(rssi)) entry.rssi = rssi;
  entry.estimator.heard(now, rssi, beacon.measuredPower);
  const bool isOneTooMany = entries_.size() > settings_.mostBeacons;
  if (isOneTooMany) dropLongestUnheard();
  return isOneTooMany;
}

std::vector<BeaconTable::Row> BeaconTable::rows(Moment now, const platform::Uuid* only) {
  forget(now);
  std::vector<Entry*> listed;
  for (Entry& entry : entries_) {
    if (!only || entry.key.proximityUUID == *only) listed.push_back(&entry);
  }
  std::sort(listed.begin(), listed.end(),
            [](const Entry* a, const Entry* b) { return a->order < b->order; });
  std::vector<Row> rows;
  rows.reserve(listed.size());
  for (Entry* entry : listed) rows.push_back(rowOf(*entry, now));
  return rows;
}

void BeaconTable::skip(std::chrono::milliseconds missed, Moment now) {
  for (Entry& entry : entries_) entry.lastHeard = std::min(entry.lastHeard + missed, now);
}

void BeaconTable::clear() {
  places_.clear();
  entries_.clear();
}

/// The beacon's entry, at the end, where those stand that are heard now.
BeaconTable::Entry& BeaconTable::entryOf(const Key& key) {
  const auto known = places_.find(key);
  if (known != places_.end()) {
    entries_.splice(entries_.end(), entries_, known->second);
  } else {
    entries_.push_back({key, nextOrder_++, Moment(), 0, ProximityEstimator(model_)});
    places_.emplace(key, std::prev(entries_.end()));
  }
  return entries_.back();
}

void BeaconTable::forget(Moment now) {
  while (!entries_.empty() && now - entries_.front().lastHeard > settings_.forgottenAfter) {
    dropLongestUnheard();
  }
}

void BeaconTable::dropLongestUnheard() {
  places_.erase(entries_.front().key);
  entries_.pop_front();
}

BeaconTable::Row BeaconTable::rowOf(Entry& entry, Moment now) const {
  Row row{{entry.key.proximityUUID, entry.key.major, entry.key.minor}, entry.lastHeard};
  if (now - entry.lastHeard > settings_.heldFor) return row;
  const Distance distance = entry.estimator.estimate(now);
  row.beacon.proximity = distance.proximity;
  row.beacon.accuracy = distance.accuracy;
  row.beacon.rssi = entry.rssi;
  return row;
}

}  // namespace korvani::location
