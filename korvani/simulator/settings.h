// What a simulated phone is like and how its surroundings answer. Plain data: a test sets it before
// the start and changes it as the day goes on.
#pragma once

#include <korvani/platform/export.h>
#include <korvani/platform/location_manager.h>
#include <korvani/platform/screens/geometry.h>
#include <korvani/platform/value.h>

#include <chrono>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace korvani::simulator {

/// What one request gets.
struct KORVANI_EXPORT Answer {
  static Answer json(const platform::Value& value);
  static Answer text(std::string body);
  /// A transport error with this description.
  static Answer failure(std::string description);

  std::string body = "{}";
  std::optional<std::string> error;
  int status = 200;
  /// From the request to its completion.
  std::chrono::milliseconds after{100};
};

struct Settings {
  std::chrono::minutes utcOffset{0};
  std::string localeIdentifier = "en_US";
  /// 0.0 to 1.0, or -1.0 for unknown.
  float batteryLevel = 1.0F;
  std::optional<platform::Coordinate> location;
  /// The random UUIDs that are made next; a fixed sequence follows.
  std::deque<platform::Uuid> uuids;
  /// The main screen, in points.
  platform::Size screen{390, 844};

  /// By the last part of a request's address. The answers are used one by one, the last one for
  /// ever; an endpoint without answers gets an empty JSON object.
  std::map<std::string, std::deque<Answer>, std::less<>> answers;
  /// What a blocking download of an address gets; all others fail.
  std::map<std::string, std::string, std::less<>> files;
  /// Pages that fail to load, with the error's description; all others load.
  std::map<std::string, std::string, std::less<>> failingPages;
  /// Beginnings of the URIs that the system can open.
  std::vector<std::string> openableUris;

  bool allowsBackgroundTasks = true;
  /// Seconds, a constant: a task expires by `expireBackgroundTime` alone.
  double backgroundTimeRemaining = 180.0;
};

}  // namespace korvani::simulator
