// From the strength of a beacon's advertisements to its distance and zone.
#pragma once

#include <korvani/location/location_settings.h>
#include <korvani/location/moment.h>

#include <array>
#include <optional>

namespace korvani::location {

/// What the estimators of all beacons share: how likely each path loss makes each signal.
class SignalModel {
 public:
  /// Path loss from -32 to 63 dB, a cell a decibel: 2.5 cm to 1.4 km at an exponent of 2.
  static constexpr int kLeast = -32;
  static constexpr int kCells = 96;

  explicit SignalModel(const ProximitySettings& settings);

  const ProximitySettings& settings() const { return settings_; }
  /// For a heard path loss, the likelihoods of all cells, from the least on.
  const float* likelihoods(int heardLoss) const;
  double metres(double pathLoss) const;
  /// The zone of that path loss for a beacon that was in `zone`, which it leaves with a margin.
  int zoneAt(double pathLoss, int zone) const;

 private:
  const ProximitySettings settings_;
  const double nearFrom_;
  const double farFrom_;
  /// By cell less heard loss.
  std::array<float, 2 * kCells - 1> likelihoods_;
};

struct Distance {
  /// As platform::Proximity.
  int proximity = 0;
  /// Metres, negative when not known.
  double accuracy = -1;
};

/// One a beacon. It keeps how likely each path loss is. A new signal makes those likely that
/// explain it; as a dip explains a weak signal, one dip moves little. Between signals likelihood
/// spreads a little, so what has moved is found again. The estimate is the median.
class ProximityEstimator {
 public:
  /// The model must outlive the estimator.
  explicit ProximityEstimator(const SignalModel& model) : model_(&model) {}

  /// An RSSI or a measured power that says nothing is passed over.
  void heard(Moment now, int rssi, int measuredPower);
  /// Unknown until the zone is certain enough; once told, it changes only with the margin.
  Distance estimate(Moment now);

  /// Whether that RSSI is a signal strength: 0 and 127 mean that it is not known.
  static bool isUsable(int rssi);

 private:
  void spread(Moment now);
  double median() const;
  double likelihoodOf(int zone) const;

  const SignalModel* model_;
  std::array<float, SignalModel::kCells> likely_{};
  std::optional<Moment> firstHeard_;
  Moment lastHeard_{};
  int zone_ = 0;
};

}  // namespace korvani::location
