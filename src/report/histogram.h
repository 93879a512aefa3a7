#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kestrune::report {

/// Counts of whole numbers: exact below 2048, in bins of 1/1024 of their power of two beyond, so that a
/// percentile is right to 0.1 % whatever the range. At most half a megabyte.
class Histogram {
 public:
  struct Bin {
    double low;   ///< least value in it
    double high;  ///< first value beyond it
    std::uint64_t count;
  };

  void Add(std::int64_t value) {
    // What is usual is counted without a look at its sign.
    if (static_cast<std::uint64_t>(value) + exactBelow < 2 * exactBelow) {
      ++counts_[static_cast<std::size_t>(value + origin_)];
    } else {
      ++CountFor(value);
    }
    ++count_;
  }
  std::uint64_t Count() const { return count_; }
  /// The least value (of a bin: its middle) that at least this share, 0 to 1, of all values doesn't exceed; 0
  /// when there are none.
  double Percentile(double share) const;
  /// Values beyond `limit` on either side, right to a bin.
  std::uint64_t CountBeyond(std::int64_t limit) const;
  /// The bins that hold something, in rising order.
  std::vector<Bin> Bins() const;

 private:
  static constexpr std::uint64_t exactBelow = 2048;
  static constexpr std::uint64_t binsPerPower = exactBelow / 2;

  static std::uint64_t Magnitude(std::int64_t value) {
    const auto bits = static_cast<std::uint64_t>(value);
    return value < 0 ? 0 - bits : bits;
  }
  static std::int64_t IndexOf(std::uint64_t magnitude);
  static double LowOf(std::int64_t index);
  static double MiddleOf(std::int64_t index);
  std::uint32_t& CountFor(std::int64_t value);
  std::int64_t End() const { return static_cast<std::int64_t>(counts_.size()); }

  /// By index, that of 0 at `origin_`, those of values below 0 before it. Of seconds: no recording has 2^32.
  std::vector<std::uint32_t> counts_ = std::vector<std::uint32_t>(2 * exactBelow);
  std::int64_t origin_ = exactBelow;
  std::uint64_t count_ = 0;
};

}  // namespace kestrune::report
