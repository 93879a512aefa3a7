#pragma once

#include <cstdint>
#include <deque>

namespace kestrune::ptp {

/// The mean path delay. In nanoseconds.
class PathDelayFilter {
 public:
  enum class Kind {
    RunningMean,   ///< starts anew when the samples say that the path has changed
    MovingMedian,  ///< of the last ten: a time stamp that is far too late moves it little
  };

  explicit PathDelayFilter(Kind kind = Kind::RunningMean) : kind_(kind) {}

  void Add(double sample);

  /// 0 until there is a sample.
  double Mean() const { return mean_; }

 private:
  void AddToMean(double sample);
  void AddToMedian(double sample);

  Kind kind_;
  double mean_ = 0;
  std::uint32_t samples_ = 0;  ///< in the mean
  double deviation_ = 0;       ///< mean absolute deviation of the samples from the mean
  int outliers_ = 0;           ///< of one sign in a row; negative for negative ones
  std::deque<double> latest_;  ///< of a median
};

}  // namespace kestrune::ptp
