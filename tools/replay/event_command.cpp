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

const std::map<std::string_view, Reader> kEvents{
    {"applicationDidEnterBackground", readPlainEvent<&SimulatedPhone::enterBackground>},
    {"backgroundTimeExpired", readPlainEvent<&SimulatedPhone::expireBackgroundTime>},
    {"didDetermineState", readDidDetermineState},
    {"didEnterRegion", readRegionEvent<&SimulatedPhone::enterRegion>},
    {"didExitRegion", readRegionEvent<&SimulatedPhone::exitRegion>},
    {"didFailWithError", readFailure<&SimulatedPhone::failLocation>},
    {"didRangeBeacons", readDidRangeBeacons},
    {"didStartMonitoringForRegion", readRegionEvent<&SimulatedPhone::startMonitoring>},
    {"dismissAlert", readPlainEvent<&SimulatedPhone::dismissAlert>},
    {"hostPresents", readPlainEvent<&SimulatedPhone::presentHostScreen>},
    {"monitoringDidFailForRegion", readFailure<&SimulatedPhone::failMonitoring>},
    {"openNotification", readOpenNotification},
    {"tap", readTap},
};

}  // namespace

Action readEvent(const Value& name, Fields& arguments) {
  const std::string event = asText(name);
  if (event == "advert" || event == "radio" || event == "displayTurnedOn") {
    throw needsRadio(quoted(event));
  }
  const auto found = kEvents.find(event);
  if (found == kEvents.end()) throw ScriptError("unknown event " + quoted(event));
  return found->second(arguments);
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
