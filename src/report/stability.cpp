#include "report/stability.h"

#include <algorithm>
#include <cmath>

namespace kestrune::report {
namespace {

constexpr std::int64_t longestHole = 86'400;  // more seconds without a value begin a new series
constexpr std::uint64_t fewestWindows = 32;

}  // namespace

void StabilityMeter::Add(std::int64_t second, double value) {
  if (last_ != std::numeric_limits<std::int64_t>::min()) {
    if (second <= last_ || second - last_ > longestHole) {
      Begin();
    } else {
      for (std::int64_t missing = last_ + 1; missing < second; ++missing) Push(0, {none, -none, 0, false});
    }
  }
  last_ = second;
  Push(0, {value, value, value, true});
}

/// Forgets the last blocks, not what was measured.
void StabilityMeter::Begin() {
  for (Level& level : levels_) {
    level.blocks = 0;
    level.hasHalf = false;
  }
}

void StabilityMeter::Push(std::size_t index, const Block& block) {
  Level& level = levels_[index];
  level.ring[level.blocks++ % ringLength] = block;
  // What a finer level has measured exactly isn't measured again.
  MeasureRange(level, index == 0 ? 0 : exactWindows - 1);
  if (index == 0) {
    for (std::size_t i = 0; i + 1 < exactWindows; ++i) MeasureDeviation(level, i);
  } else {
    MeasureDeviation(level, exactWindows - 2);
  }
  if (level.hasHalf && index + 1 < levelCount) {
    Push(index + 1, {std::min(level.half.low, block.low), std::max(level.half.high, block.high),
                     level.half.sum + block.sum, level.half.whole && block.whole});
  }
  level.half = block;
  level.hasHalf = !level.hasHalf;
}

/// Ranges of windows that end with the newest block.
void StabilityMeter::MeasureRange(Level& level, std::size_t first) {
  double low = none;
  double high = -none;
  std::size_t taken = 0;
  for (std::size_t i = 0; i < exactWindows; ++i) {
    const std::size_t length = std::size_t{1} << i;
    if (length > level.blocks) return;
    for (; taken < length; ++taken) {
      const Block& block = level.ring[(level.blocks - 1 - taken) % ringLength];
      low = std::min(low, block.low);
      high = std::max(high, block.high);
    }
    if (i >= first && high > low) level.range[i] = std::max(level.range[i], high - low);
  }
}

/// The second difference of the averages of three windows in a row, the last of which ends with the newest
/// block.
void StabilityMeter::MeasureDeviation(Level& level, std::size_t index) {
  const std::size_t length = std::size_t{1} << index;
  if (level.blocks < 3 * length) return;
  double difference = 0;
  for (std::size_t window = 0; window < 3; ++window) {
    double sum = 0;
    for (std::size_t i = 0; i < length; ++i) {
      const Block& block = level.ring[(level.blocks - 1 - window * length - i) % ringLength];
      if (!block.whole) return;
      sum += block.sum;
    }
    difference += window == 1 ? -2 * sum : sum;
  }
  Deviation& deviation = level.deviation[index];
  deviation.squares += difference * difference;
  ++deviation.count;
}

StabilityMeter::Curve StabilityMeter::Mtie() const {
  Curve curve;
  const auto add = [&](double seconds, double range) {
    if (range > 0) curve.emplace_back(seconds, std::max(range, curve.empty() ? 0 : curve.back().second));
  };
  for (std::size_t i = 1; i < exactWindows; ++i) add(std::exp2(i), levels_[0].range[i]);
  for (std::size_t level = 1; level < levelCount; ++level) {
    if (levels_[level].blocks >= ringLength / 2)
      add(std::exp2(level + 4), levels_[level].range[exactWindows - 1]);
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
  for (std::size_t i = 0; i + 1 < exactWindows; ++i) add(std::exp2(i), levels_[0].deviation[i]);
  for (std::size_t level = 1; level < levelCount; ++level) {
    add(std::exp2(level + 3), levels_[level].deviation[exactWindows - 2]);
  }
  return curve;
}

void Stability::OnSecond(int sfp, const Bucket& second, std::int32_t /*state*/, std::int32_t /*master*/) {
  if (second.locked == 0 || second.syncs == 0) return;
  meters_[static_cast<std::size_t>(sfp)].Add(second.start, second.offset.mean);
}

}  // namespace kestrune::report
