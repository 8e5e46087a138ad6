// The small ports of the simulated phone.
#include <korvani/simulator/device.h>

namespace korvani::simulator {

using platform::Value;

platform::Uuid FixedUuids::newUuid() {
  if (!settings_.uuids.empty()) {
    const platform::Uuid next = settings_.uuids.front();
    settings_.uuids.pop_front();
    return next;
  }
  platform::Uuid::Bytes bytes{};
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    // Knuth's linear congruential generator; its high bits are the good ones.
    state_ = state_ * 6364136223846793005U + 1442695040888963407U;
    bytes[i] = static_cast<std::uint8_t>(state_ >> 56U);
  }
  bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0FU) | 0x40U);  // Version 4
  bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3FU) | 0x80U);  // of RFC 4122.
  return platform::Uuid(bytes);
}

void SimulatedUserDefaults::put(std::string_view key, Value value) {
  const std::lock_guard lock(mutex_);
  values_.insert_or_assign(std::string(key), std::move(value));
}

Value SimulatedUserDefaults::objectForKey(std::string_view key) const {
  const std::lock_guard lock(mutex_);
  const auto found = values_.find(key);
  return found == values_.end() ? Value() : found->second;
}

void SimulatedUserDefaults::setObject(const Value& value, std::string_view key) {
  recorder_.record("store", Value::Dictionary{{"set", key}, {"value", withDatesAsText(value)}});
  if (!value.isNull()) return put(key, value);
  const std::lock_guard lock(mutex_);
  const auto found = values_.find(key);
  if (found != values_.end()) values_.erase(found);
}

void SimulatedUserDefaults::synchronize() {
  recorder_.record("store", Value::Dictionary{{"synchronize", true}});
}

Value SimulatedUserDefaults::dictionaryRepresentation() const {
  const std::lock_guard lock(mutex_);
  return values_;
}

void SimulatedNotificationCenter::post(std::string_view name) const {
  // An observer may add another one, which is not told of this post.
  const auto observers = observers_;
  for (const auto& [observed, observer] : observers) {
    if (observed == name) observer();
  }
}

void SimulatedDevice::setBatteryMonitoringEnabled(bool enabled) {
  recorder_.record("battery", Value::Dictionary{{"monitoring", enabled}});
  monitored_ = enabled;
}

Value withDatesAsText(const Value& value) {
  if (const auto* date = value.date()) {
    return Value::Dictionary{{"date", platform::ISO8601Text(*date)}};
  }
  if (const auto* items = value.array()) {
    Value::Array copy;
    for (const Value& item : *items) copy.push_back(withDatesAsText(item));
    return copy;
  }
  if (const auto* entries = value.dictionary()) {
    Value::Dictionary copy;
    for (const auto& [key, entry] : *entries) copy.emplace(key, withDatesAsText(entry));
    return copy;
  }
  return value;
}

}  // namespace korvani::simulator
