#include "ptp/interval_statistics.h"

#include <algorithm>
#include <limits>

namespace kestrune::ptp {
namespace {

constexpr std::int64_t largestPair =
    std::numeric_limits<std::int32_t>::max() * nanosecondsPerSecond + (nanosecondsPerSecond - 1);

}  // namespace

SecondsNanoseconds NearestPair(std::int64_t nanoseconds) {
  return SplitNanoseconds(std::clamp(nanoseconds, -largestPair, largestPair));
}

void IntervalStatistics::Add(std::int64_t nanoseconds) {
  minimum_ = count_ == 0 ? nanoseconds : std::min(minimum_, nanoseconds);
  maximum_ = count_ == 0 ? nanoseconds : std::max(maximum_, nanoseconds);
  ++count_;
  sum_ += nanoseconds;
  squares_ += Wide{nanoseconds} * nanoseconds;
}

double IntervalStatistics::Mean() const {
  return count_ == 0 ? 0 : static_cast<double>(sum_) / static_cast<double>(count_);
}

QuantityFigures IntervalStatistics::Figures() const {
  if (count_ == 0) return {};
  return {.sum = NearestPair(sum_),
          .minimum = NearestPair(minimum_),
          .maximum = NearestPair(maximum_),
          .summedSquaredDeviation = NearestPair(SummedSquaredDeviation())};
}

/// Rounded; at most what a pair holds.
std::int64_t IntervalStatistics::SummedSquaredDeviation() const {
  const Wide timesCount = count_ * squares_ - Wide{sum_} * sum_;
  const Wide rounded = (2 * timesCount + count_) / (2 * Wide{count_});
  return static_cast<std::int64_t>(std::min<Wide>(rounded, largestPair));
}

}  // namespace kestrune::ptp
