#include "report/stability.h"

#include <algorithm>
#include <cmath>

namespace kestrune::report {
namespace {

constexpr std::int64_t longestHole = 86'400;  // more seconds without a value begin a new series
constexpr std::uint64_t fewestWindows = 32;

}  // namespace

void StabilityMeter::Add(std::int64_t second, double value) {
  const bool any = last_ != std::numeric_limits<std::int64_t>::min();
  if (!any || second <= last_ || second - last_ > longestHole) {
    Begin();
  } else {
    for (std::int64_t at = last_ + 1; at < second; ++at) {
      ++missing_;
      Push(none, -none);
    }
  }
  last_ = second;
  sum_ += value;
  Push(value, value);
}

void StabilityMeter::Push(double least, double greatest) {
  levels_[0].Add(least, greatest, sum_, missing_);
  if (levels_[0].added == batch) Measure(0);
}

void StabilityMeter::Finish() {
  for (std::size_t level = 0; level < levelCount; ++level) Measure(level);
}

/// Forgets the last blocks, not what was measured.
void StabilityMeter::Begin() {
  Finish();
  for (Level& level : levels_) level.Begin();
  sum_ = 0;
  missing_ = 0;
}

/// Measures a level's new blocks. Two of them are one of the next level.
void StabilityMeter::Measure(std::size_t index) {
  Level& level = levels_[index];
  if (level.added == 0) return;
  level.WidenWindows();
  // What a finer level has measured isn't measured again.
  for (std::size_t i = index == 0 ? 1 : windowCount - 1; i < windowCount; ++i) level.MeasureRange(i);
  for (std::size_t i = index == 0 ? 0 : windowCount - 2; i < windowCount - 1; ++i) level.MeasureDeviation(i);
  if (index + 1 < levelCount) {
    Level& next = levels_[index + 1];
    for (std::size_t i = history + (level.blocks + 1) % 2; i < level.End(); i += 2)
      next.Add(level.low[1][i], level.high[1][i], level.sum[i], level.missing[i]);
    if (next.added > batch / 2) Measure(index + 1);
  }
  level.KeepHistory();
}

void StabilityMeter::Level::Begin() {
  for (Series& series : low) series.fill(none);
  for (Series& series : high) series.fill(-none);
  sum.fill(0);
  missing.fill(0);
  added = 0;
  blocks = 0;
}

void StabilityMeter::Level::Add(double least, double greatest, double sumSoFar, double missingSoFar) {
  const std::size_t at = End();
  low[0][at] = least;
  high[0][at] = greatest;
  sum[at] = sumSoFar;
  missing[at] = missingSoFar;
  ++added;
}

/// A window is two of half its length.
void StabilityMeter::Level::WidenWindows() {
  for (std::size_t window = 1; window < windowCount; ++window) {
    const std::size_t half = std::size_t{1} << (window - 1);
    for (std::size_t i = history; i < End(); ++i) {
      low[window][i] = std::min(low[window - 1][i], low[window - 1][i - half]);
      high[window][i] = std::max(high[window - 1][i], high[window - 1][i - half]);
    }
  }
}

void StabilityMeter::Level::MeasureRange(std::size_t window) {
  double most = range[window];
  for (std::size_t i = Behind((std::uint64_t{1} << window) - 1); i < End(); ++i)
    most = std::max(most, high[window][i] - low[window][i]);
  range[window] = most;
}

/// The second difference of the sums of three windows in a row, the last of which ends with each new block.
void StabilityMeter::Level::MeasureDeviation(std::size_t window) {
  const std::size_t length = std::size_t{1} << window;
  Deviation measured = deviation[window];
  for (std::size_t i = Behind(3 * length); i < End(); ++i) {
    if (missing[i] != missing[i - 3 * length]) continue;
    const double difference = sum[i] - 3 * sum[i - length] + 3 * sum[i - 2 * length] - sum[i - 3 * length];
    measured.squares += difference * difference;
    ++measured.count;
  }
  deviation[window] = measured;
}

/// Moves what later blocks look back to before the place of the first of them.
void StabilityMeter::Level::KeepHistory() {
  const auto keep = [this](Series& series) {
    std::copy_n(series.begin() + static_cast<std::ptrdiff_t>(added), history, series.begin());
  };
  for (Series& series : low) keep(series);
  for (Series& series : high) keep(series);
  keep(sum);
  keep(missing);
  blocks += added;
  added = 0;
}

StabilityMeter::Curve StabilityMeter::Mtie() const {
  Curve curve;
  const auto add = [&](double seconds, double range) {
    if (range > 0) curve.emplace_back(seconds, std::max(range, curve.empty() ? 0 : curve.back().second));
  };
  for (std::size_t i = 1; i < windowCount; ++i) add(std::exp2(i), levels_[0].range[i]);
  for (std::size_t level = 1; level < levelCount; ++level) {
    if (levels_[level].blocks >= longest) add(std::exp2(level + 4), levels_[level].range[windowCount - 1]);
  }
  return curve;
}

StabilityMeter::Curve StabilityMeter::Tdev() const {
  Curve curve;
  const auto add = [&](double seconds, const Deviation& deviation) {
    if (deviation.count < fewestWindows) return;
    const double variance =
        deviation.squares / static_cast<double>(deviation.count) / (seconds * seconds) / 6;
    curve.emplace_back(seconds, std::sqrt(variance));
  };
  for (std::size_t i = 0; i + 1 < windowCount; ++i) add(std::exp2(i), levels_[0].deviation[i]);
  for (std::size_t level = 1; level < levelCount; ++level) {
    add(std::exp2(level + 3), levels_[level].deviation[windowCount - 2]);
  }
  return curve;
}

void Stability::OnSecond(int sfp, const Bucket& second, std::int32_t /*state*/, std::int32_t /*master*/) {
  if (second.locked == 0 || second.syncs == 0) return;
  meters_[static_cast<std::size_t>(sfp)].Add(second.start, second.offset.mean);
}

void Stability::Finish() {
  for (StabilityMeter& meter : meters_) meter.Finish();
}

}  // namespace kestrune::report
