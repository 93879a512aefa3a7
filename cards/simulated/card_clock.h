#pragma once

#include <cstdint>
#include <optional>

#include "simulated/random.h"
#include "simulated/scenario.h"

namespace kestrune::simulated {

/// The card's clock: an oscillator whose frequency walks at random, and the adjustment laid upon it.
class CardClock {
 public:
  /// The clock starts with the host's time, up to half a second wrong.
  CardClock(const Oscillator& oscillator, Random random);

  /// Against the true time, in nanoseconds; positive when the clock is ahead.
  double Error() const { return errorNs_; }

  /// What Error will be in `seconds` from now if nobody touches the clock.
  double ErrorAfter(double seconds) const { return errorNs_ + (oscillatorPpb_ + adjustmentPpb_) * seconds; }

  void Advance(double seconds) { errorNs_ = ErrorAfter(seconds); }

  /// One slot's share of the frequency's random walk.
  void Wander();

  void Step(double nanoseconds) { errorNs_ += nanoseconds; }
  void AdjustFrequency(double ppb) { adjustmentPpb_ = ppb; }

 private:
  Random random_;
  double oscillatorPpb_;
  double wanderPerSlotPpb_;
  double adjustmentPpb_ = 0;
  double errorNs_;
};

/// What a servo did to the clock's time.
struct Correction {
  bool stepped;        ///< at once; else it slews the clock until the next one
  double nanoseconds;  ///< negative when the clock was ahead
};

/// Keeps the card's clock at a master's time. A cold servo first measures the frequency error over two
/// seconds and removes it together with the offset; from then on it is a critically damped
/// proportional-integral controller. Offsets beyond the step threshold are stepped away. Without offsets it
/// holds the last frequency.
class ClockServo {
 public:
  /// Takes one offset from the master in nanoseconds, at `time` in seconds, and corrects `clock`, unless the
  /// offset is only one of several that decide together.
  std::optional<Correction> Discipline(double time, double offsetNs, CardClock& clock);

  /// The offsets that follow come from another reference: what has been gathered of the last one is void, but
  /// for the frequency.
  void ChangeReference();

 private:
  std::optional<Correction> MeasureFrequency(double time, double offsetNs, CardClock& clock);
  std::optional<Correction> CollectOutlier(double offsetNs, CardClock& clock);

  /// Sums of a least-squares line through offset against time since the first one.
  struct Regression {
    double start = 0;
    double count = 0;
    double time = 0;
    double offset = 0;
    double timeSquared = 0;
    double timeOffset = 0;
  };

  bool frequencyKnown_ = false;
  Regression regression_;
  double frequencyPpb_ = 0;  ///< the controller's integral: the oscillator's frequency error as learned
  double lastTime_ = 0;
  int outliers_ = 0;  ///< offsets of one sign in a row beyond the step threshold; negative for negative ones
  double outlierSum_ = 0;
};

}  // namespace kestrune::simulated
