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

  /// Maximum time interval error: the greatest range within a window.
  Curve Mtie() const;
  /// Time deviation. Only windows without a missing second; observation times with too few of them are left
  /// out.
  Curve Tdev() const;

 private:
  static constexpr double none = std::numeric_limits<double>::infinity();
  static constexpr std::size_t levelCount = 24;
  static constexpr std::size_t ringLength = 32;
  static constexpr std::size_t windowCount = 5;  ///< 1, 2, 4, 8, 16 blocks

  /// 2^level seconds.
  struct Block {
    double low = none;
    double high = -none;
    double sum = 0;
    bool whole = true;  ///< has every second a value?
  };
  /// What is known at a block's end.
  struct Place {
    std::array<double, windowCount> low{};  ///< of the window of 1, 2, 4… blocks that ends here
    std::array<double, windowCount> high{};
    double sum = 0;             ///< of all blocks so far
    std::uint64_t missing = 0;  ///< blocks so far that aren't whole
  };
  struct Deviation {
    double squares = 0;
    std::uint64_t count = 0;
  };
  struct Level {
    std::array<Place, ringLength> ring;
    std::uint64_t blocks = 0;
    Block half;  ///< the first half of the next level's block
    bool hasHalf = false;
    std::array<double, windowCount> range{};  ///< by window
    std::array<Deviation, windowCount> deviation;

    /// At the end of the block so many blocks ago; 0 is the newest.
    const Place& Ago(std::uint64_t count) const { return ring[(blocks - 1 - count) % ringLength]; }
  };

  void Push(std::size_t level, const Block& block);
  static void AddPlace(Level& level, const Block& block);
  static void MeasureRange(Level& level, std::size_t window);
  static void MeasureDeviation(Level& level, std::size_t window);
  void Begin();

  std::array<Level, levelCount> levels_;
  std::int64_t last_ = std::numeric_limits<std::int64_t>::min();
};

/// Measures the average offset of each SFP's locked seconds.
class Stability : public RecordObserver {
 public:
  void OnSecond(int sfp, const Bucket& second, std::int32_t state, std::int32_t master) override;
  const StabilityMeter& Of(int sfp) const { return meters_[static_cast<std::size_t>(sfp)]; }

 private:
  std::array<StabilityMeter, sfpCount> meters_;
};

}  // namespace kestrune::report
