#include "ptp/path_delay_filter.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

namespace kestrune::ptp {
namespace {

constexpr std::uint32_t filterLength = 32;
constexpr double changeMinimum = 500;
constexpr double changeDeviations = 6;
constexpr int samplesForChange = 4;
constexpr std::size_t medianLength = 10;

}  // namespace

void PathDelayFilter::Add(double sample) {
  if (kind_ == Kind::MovingMedian) return AddToMedian(sample);
  AddToMean(sample);
}

void PathDelayFilter::AddToMedian(double sample) {
  if (latest_.size() == medianLength) latest_.pop_front();
  latest_.push_back(sample);
  std::vector<double> sorted(latest_.begin(), latest_.end());
  std::ranges::sort(sorted);
  mean_ = (sorted[(sorted.size() - 1) / 2] + sorted[sorted.size() / 2]) / 2;
}

void PathDelayFilter::AddToMean(double sample) {
  const double deviation = sample - mean_;
  const double limit = std::max(changeMinimum, changeDeviations * deviation_);
  const int sign = deviation > 0 ? 1 : -1;
  if (std::abs(deviation) <= limit) {
    outliers_ = 0;
  } else {
    outliers_ = outliers_ * sign > 0 ? outliers_ + sign : sign;
  }
  if (samples_ == 0 || std::abs(outliers_) >= samplesForChange) {
    mean_ = sample;
    outliers_ = 0;
    samples_ = 1;
    return;
  }
  samples_ = std::min(samples_ + 1, filterLength);
  mean_ += deviation / samples_;
  deviation_ += (std::abs(deviation) - deviation_) / filterLength;
}

}  // namespace kestrune::ptp
