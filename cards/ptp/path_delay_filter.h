#pragma once

#include <cstdint>

namespace kestrune::ptp {

/// The mean path delay: a running mean of the samples that starts anew when they say that the path has
/// changed. In nanoseconds.
class PathDelayFilter {
 public:
  void Add(double sample);

  /// 0 until there is a sample.
  double Mean() const { return mean_; }

 private:
  double mean_ = 0;
  std::uint32_t samples_ = 0;  ///< in the mean
  double deviation_ = 0;       ///< mean absolute deviation of the samples from the mean
  int outliers_ = 0;           ///< of one sign in a row; negative for negative ones
};

}  // namespace kestrune::ptp
