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
    // What is usual is counted at once.
    auto& side = value < 0 ? below_ : above_;
    const std::uint64_t magnitude = Magnitude(value);
    if (magnitude < exactBelow && magnitude < side.size()) {
      ++side[magnitude];
      ++count_;
    } else {
      AddAnywhere(value);
    }
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
  static std::size_t IndexOf(std::uint64_t magnitude);
  static double LowOf(std::size_t index);
  static double MiddleOf(std::size_t index);
  void AddAnywhere(std::int64_t value);

  // Of seconds: no recording has 2^32.
  std::vector<std::uint32_t> above_;
  std::vector<std::uint32_t> below_;
  std::uint64_t count_ = 0;
};

}  // namespace kestrune::report
