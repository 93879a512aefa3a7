#include "ptp/interval_statistics.h"

#include <algorithm>
#include <limits>

namespace kestrune::ptp {
namespace {

constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;
constexpr std::int64_t largestPair =
    std::numeric_limits<std::int32_t>::max() * nanosecondsPerSecond + (nanosecondsPerSecond - 1);

}  // namespace

SecondsNanoseconds SplitNanoseconds(std::int64_t nanoseconds) {
  const std::int64_t value = std::clamp(nanoseconds, -largestPair, largestPair);
  return {static_cast<std::int32_t>(value / nanosecondsPerSecond),
          static_cast<std::int32_t>(value % nanosecondsPerSecond)};
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
  const SecondsNanoseconds sum = SplitNanoseconds(sum_);
  const SecondsNanoseconds least = SplitNanoseconds(minimum_);
  const SecondsNanoseconds most = SplitNanoseconds(maximum_);
  const SecondsNanoseconds ssd = SplitNanoseconds(SummedSquaredDeviation());
  return {.sumSeconds = sum.seconds,
          .sumNanoseconds = sum.nanoseconds,
          .minimumSeconds = least.seconds,
          .minimumNanoseconds = least.nanoseconds,
          .maximumSeconds = most.seconds,
          .maximumNanoseconds = most.nanoseconds,
          .summedSquaredDeviationSeconds = ssd.seconds,
          .summedSquaredDeviationNanoseconds = ssd.nanoseconds};
}

/// Rounded; at most what a pair holds.
std::int64_t IntervalStatistics::SummedSquaredDeviation() const {
  const Wide timesCount = count_ * squares_ - Wide{sum_} * sum_;
  const Wide rounded = (2 * timesCount + count_) / (2 * Wide{count_});
  return static_cast<std::int64_t>(std::min<Wide>(rounded, largestPair));
}

}  // namespace kestrune::ptp
