#pragma once

#include <chrono>
#include <cstdint>

namespace kestrune::kit {

/// Turns the wall clock into a card's time, which only goes forward: when the wall clock is set back, the
/// card's time goes on from where it stood; when it leaps ahead (the machine slept, the clock was set), at
/// most longestCatchUp of the leap is lived through and the rest is left out. A process whose clock is made
/// to run hundreds of times faster sees such leaps whenever it is held up for a moment, so the limit is
/// generous.
class CardTime {
 public:
  using Time = std::chrono::system_clock::time_point;
  static constexpr std::chrono::hours longestCatchUp{6};

  /// The card's time 0 is `start`.
  explicit CardTime(Time start) : origin_(start), last_(start) {}

  /// Whole seconds of the card's time that have passed by `now`.
  std::int64_t Seconds(Time now) {
    const auto step = now - last_;
    if (step < step.zero()) origin_ += step;
    if (step > longestCatchUp) origin_ += step - longestCatchUp;
    last_ = now;
    return std::chrono::floor<std::chrono::seconds>(now - origin_).count();
  }

  /// From the last time given to Seconds to the next whole second; above zero.
  std::chrono::milliseconds UntilNextSecond() const {
    const auto passed = last_ - origin_;
    const auto next = std::chrono::floor<std::chrono::seconds>(passed) + std::chrono::seconds(1);
    return std::chrono::ceil<std::chrono::milliseconds>(next - passed);
  }

 private:
  Time origin_;
  Time last_;
};

}  // namespace kestrune::kit
