#include "simulated/card_clock.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "ptp/follower.h"
#include "simulated/network.h"

namespace kestrune::simulated {
namespace {

// A natural frequency of 0.15 rad/s, critically damped: 2ω and ω².
constexpr double proportionalGain = 0.3;  // ppb per ns
constexpr double integralGain = 0.0225;   // ppb per ns and second
constexpr double measurementSeconds = 2;
constexpr double longestUpdateSeconds = 2 * slotSeconds;
constexpr int outliersForStep = 8;
constexpr double initialErrorNs = 5e8;

}  // namespace

CardClock::CardClock(const Oscillator& oscillator, Random random)
    : random_(random),
      oscillatorPpb_(oscillator.frequencyErrorPpb),
      wanderPerSlotPpb_(oscillator.wanderPpb * std::sqrt(slotSeconds)),
      errorNs_((2 * random_.Uniform() - 1) * initialErrorNs) {}

void CardClock::Wander() { oscillatorPpb_ += wanderPerSlotPpb_ * random_.Gaussian(); }

std::optional<Correction> ClockServo::Discipline(double time, double offsetNs, CardClock& clock) {
  if (!frequencyKnown_) return MeasureFrequency(time, offsetNs, clock);
  const double elapsed = std::min(time - lastTime_, longestUpdateSeconds);
  lastTime_ = time;
  if (std::abs(offsetNs) > ptp::stepThreshold) return CollectOutlier(offsetNs, clock);
  outliers_ = 0;
  frequencyPpb_ += integralGain * elapsed * offsetNs;
  clock.AdjustFrequency(-(frequencyPpb_ + proportionalGain * offsetNs));
  return Correction{.stepped = false, .nanoseconds = -offsetNs};
}

void ClockServo::ChangeReference() {
  regression_ = {};
  outliers_ = 0;
}

std::optional<Correction> ClockServo::MeasureFrequency(double time, double offsetNs, CardClock& clock) {
  Regression& line = regression_;
  if (line.count == 0) line.start = time;
  const double since = time - line.start;
  line.count += 1;
  line.time += since;
  line.offset += offsetNs;
  line.timeSquared += since * since;
  line.timeOffset += since * offsetNs;
  if (since < measurementSeconds) return std::nullopt;

  const double slope = (line.count * line.timeOffset - line.time * line.offset) /
                       (line.count * line.timeSquared - line.time * line.time);
  const double fitted = line.offset / line.count + slope * (since - line.time / line.count);
  frequencyPpb_ = slope;
  frequencyKnown_ = true;
  lastTime_ = time;
  clock.AdjustFrequency(-frequencyPpb_);
  clock.Step(-fitted);
  return Correction{.stepped = true, .nanoseconds = -fitted};
}

std::optional<Correction> ClockServo::CollectOutlier(double offsetNs, CardClock& clock) {
  const int sign = offsetNs > 0 ? 1 : -1;
  if (outliers_ * sign <= 0) {
    outliers_ = 0;
    outlierSum_ = 0;
  }
  outliers_ += sign;
  outlierSum_ += offsetNs;
  clock.AdjustFrequency(-frequencyPpb_);
  if (std::abs(outliers_) < outliersForStep) return std::nullopt;
  const double step = -outlierSum_ / outliersForStep;
  outliers_ = 0;
  clock.Step(step);
  return Correction{.stepped = true, .nanoseconds = step};
}

}  // namespace kestrune::simulated
