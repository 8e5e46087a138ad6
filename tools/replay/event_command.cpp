// The line with which something happens on the phone, and the one that looks at it.
#include <cfloat>
#include <limits>
#include <map>
#include <vector>

#include "commands.h"
#include "read.h"

namespace korvani::replay {

using platform::Value;
using simulator::LocationEventSource;
using simulator::LocationServiceKind;
using simulator::SimulatedPhone;

namespace {

using Reader = Action (*)(Fields&);

LocationEventSource readSource(Fields& arguments) {
  LocationEventSource source;
  if (const Value* manager = arguments.find("manager")) {
    within("\"manager\"", [&] {
      source.manager = static_cast<std::size_t>(
          asInteger(*manager, 1, std::numeric_limits<std::int64_t>::max()));
    });
  }
  if (const Value* uuid = arguments.find("uuid")) {
    within("\"uuid\"", [&] { source.proximityUUID = readUuid(*uuid); });
  }
  return source;
}

template <void (SimulatedPhone::*event)(const LocationEventSource&)>
Action readRegionEvent(Fields& arguments) {
  const LocationEventSource source = readSource(arguments);
  return [source](Player& player) { (player.phone().*event)(source); };
}

template <void (SimulatedPhone::*event)(const std::string&, const LocationEventSource&)>
Action readFailure(Fields& arguments) {
  const LocationEventSource source = readSource(arguments);
  const std::string description = arguments.text("description");
  return [=](Player& player) { (player.phone().*event)(description, source); };
}

template <void (SimulatedPhone::*event)()>
Action readPlainEvent(Fields&) {
  return [](Player& player) { (player.phone().*event)(); };
}

Action readDidRangeBeacons(Fields& arguments) {
  const Value& list = arguments.get("beacons");
  std::vector<platform::Beacon> beacons;
  std::size_t place = 0;
  try {
    beacons.reserve(asList(list).size());
    for (const Value& beacon : asList(list)) {
      beacons.push_back(readBeacon(beacon));
      ++place;
    }
  } catch (const ScriptError& error) {
    throw ScriptError("\"beacons\"[" + std::to_string(place) + "]: " + error.what());
  }
  return [beacons = std::move(beacons)](Player& player) { player.phone().rangeBeacons(beacons); };
}

Action readDidDetermineState(Fields& arguments) {
  LocationEventSource source = readSource(arguments);
  const auto state = static_cast<platform::RegionState>(arguments.integer("state", 0, 2));
  if (const Value* region = arguments.find("region")) {
    source.beaconRegion = *region == Value("beacon");
    if (!source.beaconRegion && !(*region == Value("other"))) {
      throw ScriptError("\"region\": must be \"beacon\" or \"other\"");
    }
  }
  return [=](Player& player) { player.phone().determineState(state, source); };
}

Action readOpenNotification(Fields& arguments) {
  std::optional<std::size_t> index;
  if (const Value* value = arguments.find("index")) {
    within("\"index\"", [&] {
      index =
          static_cast<std::size_t>(asInteger(*value, 0, std::numeric_limits<std::int64_t>::max()));
    });
  }
  return [index](Player& player) { player.phone().openNotification(index); };
}

Action readTap(Fields& arguments) {
  const double x = arguments.number("x", -DBL_MAX, DBL_MAX);
  const double y = arguments.number("y", -DBL_MAX, DBL_MAX);
  return [=](Player& player) { player.phone().tap({x, y}); };
}

Action readAdvert(Fields& arguments) {
  std::vector<std::uint8_t> bytes;
  const Value& digits = arguments.get("bytes");
  within("\"bytes\"", [&] { bytes = readBytes(digits); });
  const Value* given = arguments.find("rssi");
  int rssi = -59;
  if (given) within("\"rssi\"", [&] { rssi = static_cast<int>(asInteger(*given, -127, 127)); });
  // Beacons change their address: it says nothing of who they are, and is read for its form alone.
  if (const Value* address = arguments.find("address")) {
    within("\"address\"", [&] { checkAddress(*address); });
  }
  return [=](Player& player) { player.phone().advertise(bytes, rssi); };
}

Action readRadio(Fields& arguments) {
  const bool isPowered = arguments.boolean("powered");
  return [=](Player& player) { player.phone().setRadioPowered(isPowered); };
}

const std::map<std::string_view, Reader> kEvents{
    {"applicationDidEnterBackground", readPlainEvent<&SimulatedPhone::enterBackground>},
    {"backgroundTimeExpired", readPlainEvent<&SimulatedPhone::expireBackgroundTime>},
    {"dismissAlert", readPlainEvent<&SimulatedPhone::dismissAlert>},
    {"hostPresents", readPlainEvent<&SimulatedPhone::presentHostScreen>},
    {"openNotification", readOpenNotification},
    {"tap", readTap},
};

const std::map<std::string_view, Reader> kScriptedEvents{
    {"didDetermineState", readDidDetermineState},
    {"didEnterRegion", readRegionEvent<&SimulatedPhone::enterRegion>},
    {"didExitRegion", readRegionEvent<&SimulatedPhone::exitRegion>},
    {"didFailWithError", readFailure<&SimulatedPhone::failLocation>},
    {"didRangeBeacons", readDidRangeBeacons},
    {"didStartMonitoringForRegion", readRegionEvent<&SimulatedPhone::startMonitoring>},
    {"monitoringDidFailForRegion", readFailure<&SimulatedPhone::failMonitoring>},
};

const std::map<std::string_view, Reader> kRadioEvents{
    {"advert", readAdvert},
    {"displayTurnedOn", readPlainEvent<&SimulatedPhone::turnOnDisplay>},
    {"radio", readRadio},
};

}  // namespace

Action readEvent(const std::string& name, Fields& arguments, LocationServiceKind locationService) {
  if (const auto found = kEvents.find(name); found != kEvents.end()) {
    return found->second(arguments);
  }
  for (const auto kind : {LocationServiceKind::kScripted, LocationServiceKind::kRadio}) {
    const auto& events = kind == LocationServiceKind::kRadio ? kRadioEvents : kScriptedEvents;
    const auto found = events.find(name);
    if (found == events.end()) continue;
    requireLocationService(quoted(name), kind, locationService);
    return found->second(arguments);
  }
  throw ScriptError("unknown event " + quoted(name));
}

void requireLocationService(std::string_view what, LocationServiceKind needed,
                            LocationServiceKind there) {
  if (needed == there) return;
  const char* name = needed == LocationServiceKind::kRadio ? "radio" : "scripted";
  throw ScriptError(std::string(what) + " needs the location service " + quoted(name));
}

Action readInspect(const Value& what) {
  if (what == Value("screen")) {
    return [](Player& player) { player.phone().record("shown", player.phone().shown()); };
  }
  if (what == Value("store")) {
    return [](Player& player) { player.phone().record("stored", player.phone().stored()); };
  }
  throw ScriptError("must be \"screen\" or \"store\"");
}

}  // namespace korvani::replay
