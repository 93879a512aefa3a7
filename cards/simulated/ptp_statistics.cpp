#include "simulated/ptp_statistics.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace kestrune::simulated {
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

double SampleStatistics::Mean() const {
  if (count_ == 0) return 0;
  const auto end = samples_.begin() + static_cast<std::ptrdiff_t>(count_);
  return static_cast<double>(std::accumulate(samples_.begin(), end, std::int64_t{0})) /
         static_cast<double>(count_);
}

QuantityFigures SampleStatistics::Figures() const {
  if (count_ == 0) return {};
  const auto end = samples_.begin() + static_cast<std::ptrdiff_t>(count_);
  const auto [minimum, maximum] = std::minmax_element(samples_.begin(), end);
  const double mean = Mean();
  double squares = 0;
  for (auto sample = samples_.begin(); sample != end; ++sample) {
    const double deviation = static_cast<double>(*sample) - mean;
    squares += deviation * deviation;
  }
  const SecondsNanoseconds sum = SplitNanoseconds(std::accumulate(samples_.begin(), end, std::int64_t{0}));
  const SecondsNanoseconds least = SplitNanoseconds(*minimum);
  const SecondsNanoseconds most = SplitNanoseconds(*maximum);
  const SecondsNanoseconds ssd =
      SplitNanoseconds(std::llround(std::min(squares, static_cast<double>(largestPair))));
  return {.sumSeconds = sum.seconds,
          .sumNanoseconds = sum.nanoseconds,
          .minimumSeconds = least.seconds,
          .minimumNanoseconds = least.nanoseconds,
          .maximumSeconds = most.seconds,
          .maximumNanoseconds = most.nanoseconds,
          .summedSquaredDeviationSeconds = ssd.seconds,
          .summedSquaredDeviationNanoseconds = ssd.nanoseconds};
}

}  // namespace kestrune::simulated
