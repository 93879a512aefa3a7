#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include "report/recording.h"

namespace kestrune::report {

/// MTIE and TDEV of a series of one value a second, while it comes. Observation times are 1, 2, 4… seconds;
/// from 32 seconds on, windows move in steps of a sixteenth (MTIE) and an eighth (TDEV) of the observation
/// time, so memory doesn't grow with the series.
class StabilityMeter {
 public:
  /// Observation time in seconds, value in the unit of the series.
  using Curve = std::vector<std::pair<double, double>>;

  /// The value of a second behind the last one; seconds left out are seconds without a value. One that isn't
  /// behind begins a new series.
  void Add(std::int64_t second, double value);

  /// Measures what was added last; before the curves are asked for.
  void Finish();

  /// Maximum time interval error: the greatest range within a window.
  Curve Mtie() const;
  /// Time deviation. Only windows without a missing second; observation times with too few of them are left
  /// out.
  Curve Tdev() const;

 private:
  static constexpr double none = std::numeric_limits<double>::infinity();
  static constexpr std::size_t levelCount = 24;
  static constexpr std::size_t windowCount = 5;  ///< 1, 2, 4, 8, 16 blocks
  static constexpr std::size_t longest = 1 << (windowCount - 1);
  static constexpr std::size_t history = 24;  ///< three windows of 8 blocks
  static constexpr std::size_t batch = 64;    ///< blocks that are measured at a time

  /// A figure of each block: of those that have been measured, as far as they are still needed, then of the
  /// new ones.
  using Series = std::array<double, history + batch>;
  struct Deviation {
    double squares = 0;
    std::uint64_t count = 0;
  };
  /// Blocks of 2^level seconds.
  struct Level {
    std::array<Series, windowCount> low;  ///< of the window of 1, 2, 4… blocks that ends here
    std::array<Series, windowCount> high;
    Series sum;                               ///< of all seconds so far
    Series missing;                           ///< seconds without a value so far
    std::size_t added = 0;                    ///< new blocks
    std::uint64_t blocks = 0;                 ///< that have been measured
    std::array<double, windowCount> range{};  ///< by window
    std::array<Deviation, windowCount> deviation;

    void Begin();
    void Add(double least, double greatest, double sumSoFar, double missingSoFar);
    void WidenWindows();
    void MeasureRange(std::size_t window);
    void MeasureDeviation(std::size_t window);
    void KeepHistory();
    /// The first new block that has so many before it.
    std::size_t Behind(std::uint64_t others) const {
      return history + (blocks < others ? static_cast<std::size_t>(others - blocks) : 0);
    }
    std::size_t End() const { return history + added; }
  };

  void Push(double least, double greatest);
  void Measure(std::size_t level);
  void Begin();

  double sum_ = 0;      ///< of the series
  double missing_ = 0;  ///< likewise, seconds
  std::vector<Level> levels_{levelCount};
  std::int64_t last_ = std::numeric_limits<std::int64_t>::min();
};

/// Measures the average offset of each SFP's locked seconds.
class Stability : public SecondObserver {
 public:
  void OnSecond(int sfp, const Bucket& second, std::int32_t state, std::int32_t master) override;
  /// Behind the last second.
  void Finish();
  const StabilityMeter& Of(int sfp) const { return meters_[static_cast<std::size_t>(sfp)]; }

 private:
  std::array<StabilityMeter, sfpCount> meters_;
};

}  // namespace kestrune::report
