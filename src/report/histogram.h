#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kestrune::report {

/// Counts of whole numbers: exact below 2048, in bins of 1/1024 of their power of two beyond, so that a
/// percentile is right to 0.1 % whatever the range. At most a megabyte.
class Histogram {
 public:
  struct Bin {
    double low;   ///< least value in it
    double high;  ///< first value beyond it
    std::uint64_t count;
  };

  void Add(std::int64_t value);
  std::uint64_t Count() const { return count_; }
  /// The least value (of a bin: its middle) that at least this share, 0 to 1, of all values doesn't exceed; 0
  /// when there are none.
  double Percentile(double share) const;
  /// Values beyond `limit` on either side, right to a bin.
  std::uint64_t CountBeyond(std::int64_t limit) const;
  /// The bins that hold something, in rising order.
  std::vector<Bin> Bins() const;

 private:
  std::vector<std::uint64_t> above_;
  std::vector<std::uint64_t> below_;
  std::uint64_t count_ = 0;
};

}  // namespace kestrune::report
