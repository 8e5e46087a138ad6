// A Bayes filter over the decibels of path loss.
#include <korvani/location/proximity_estimator.h>
#include <korvani/platform/location_manager.h>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace korvani::location {
namespace {

using platform::kProximityFar;
using platform::kProximityImmediate;
using platform::kProximityNear;
using platform::kProximityUnknown;

constexpr int kLeast = SignalModel::kLeast;
constexpr int kCells = SignalModel::kCells;

/// No signal rules a cell out, and no cell is ever out of reach: a leap of any size is believed
/// after a few signals.
constexpr double kLeastLikelihood = 1e-4;
constexpr float kAnywhere = 1e-6F;

double bell(double deviation) { return std::exp(-deviation * deviation / 2); }

double pathLossAt(double metres, double exponent) { return 10 * exponent * std::log10(metres); }

}  // namespace

SignalModel::SignalModel(const ProximitySettings& settings)
    : settings_(settings),
      nearFrom_(pathLossAt(settings.nearFrom, settings.pathLossExponent)),
      farFrom_(pathLossAt(settings.farFrom, settings.pathLossExponent)) {
  for (int i = 0; i < 2 * kCells - 1; ++i) {
    const double excess = (kCells - 1) - i;  // Heard loss less the cell's.
    const double steady = bell(excess / settings.noise);
    const double dipped = bell((excess - settings.dipDepth) / settings.noise);
    likelihoods_[static_cast<std::size_t>(i)] = static_cast<float>(
        (1 - settings.dipShare) * steady + settings.dipShare * dipped + kLeastLikelihood);
  }
}

const float* SignalModel::likelihoods(int heardLoss) const {
  const int cell = std::clamp(heardLoss - kLeast, 0, kCells - 1);
  return likelihoods_.data() + (kCells - 1 - cell);
}

double SignalModel::metres(double pathLoss) const {
  return std::pow(10, pathLoss / (10 * settings_.pathLossExponent));
}

int SignalModel::zoneAt(double pathLoss, int zone) const {
  const auto isPast = [&](double border, bool wasPast) {
    if (zone == kProximityUnknown) return pathLoss >= border;
    return pathLoss >= border + (wasPast ? -settings_.margin : settings_.margin);
  };
  if (isPast(farFrom_, zone == kProximityFar)) return kProximityFar;
  return isPast(nearFrom_, zone != kProximityImmediate) ? kProximityNear : kProximityImmediate;
}

bool ProximityEstimator::isUsable(int rssi) { return rssi >= -127 && rssi <= 20 && rssi != 0; }

void ProximityEstimator::heard(Moment now, int rssi, int measuredPower) {
  if (!isUsable(rssi) || measuredPower >= 0) return;
  if (firstHeard_) {
    spread(now);
  } else {
    firstHeard_ = now;
    likely_.fill(1.0F / kCells);
  }
  lastHeard_ = now;
  const float* const likelihoods = model_->likelihoods(measuredPower - rssi);
  for (std::size_t i = 0; i < kCells; ++i) likely_[i] *= likelihoods[i];
  const float sum = std::accumulate(likely_.begin(), likely_.end(), 0.0F);
  for (float& cell : likely_) cell /= sum;
}

/// The share that may have moved goes evenly to all cells within reach.
void ProximityEstimator::spread(Moment now) {
  const ProximitySettings& settings = model_->settings();
  const auto time = std::clamp(now - lastHeard_, {}, settings.longestMove);
  const double seconds = std::chrono::duration<double>(time).count();
  const auto moved = static_cast<float>(1 - std::exp(-settings.moveRate * seconds));
  std::array<float, kCells + 1> sums{};
  std::partial_sum(likely_.begin(), likely_.end(), sums.begin() + 1);
  const int reach = settings.moveReach;
  const float part = moved / static_cast<float>(2 * reach + 1);
  for (int i = 0; i < kCells; ++i) {
    const auto from = static_cast<std::size_t>(std::max(i - reach, 0));
    const auto to = static_cast<std::size_t>(std::min(i + reach + 1, kCells));
    float& cell = likely_[static_cast<std::size_t>(i)];
    cell = (1 - moved) * cell + part * (sums[to] - sums[from]) + kAnywhere;
  }
}

Distance ProximityEstimator::estimate(Moment now) {
  if (!firstHeard_) return {};
  const double pathLoss = median();
  const int zone = model_->zoneAt(pathLoss, zone_);
  const ProximitySettings& settings = model_->settings();
  if (zone_ != kProximityUnknown || likelihoodOf(zone) >= settings.certainty ||
      now - *firstHeard_ >= settings.patience) {
    zone_ = zone;
  }
  if (zone_ == kProximityUnknown) return {};
  return {zone_, model_->metres(pathLoss)};
}

/// Between the borders of the cell that holds it.
double ProximityEstimator::median() const {
  double before = 0;
  std::size_t i = 0;
  while (i + 1 < kCells && before + likely_[i] < 0.5) before += likely_[i++];
  return kLeast - 0.5 + static_cast<double>(i) + (0.5 - before) / likely_[i];
}

double ProximityEstimator::likelihoodOf(int zone) const {
  double sum = 0;
  for (int i = 0; i < kCells; ++i) {
    if (model_->zoneAt(kLeast + i, kProximityUnknown) == zone) {
      sum += likely_[static_cast<std::size_t>(i)];
    }
  }
  return sum;
}

}  // namespace korvani::location
