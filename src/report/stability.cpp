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
  AddPlace(level, block);
  // What a finer level has measured isn't measured again.
  for (std::size_t i = index == 0 ? 1 : windowCount - 1; i < windowCount; ++i) MeasureRange(level, i);
  for (std::size_t i = index == 0 ? 0 : windowCount - 2; i < windowCount - 1; ++i) MeasureDeviation(level, i);
  if (level.hasHalf && index + 1 < levelCount) {
    Push(index + 1, {std::min(level.half.low, block.low), std::max(level.half.high, block.high),
                     level.half.sum + block.sum, level.half.whole && block.whole});
  }
  level.half = block;
  level.hasHalf = !level.hasHalf;
}

/// A window is two of half its length.
void StabilityMeter::AddPlace(Level& level, const Block& block) {
  Place place;
  place.low[0] = block.low;
  place.high[0] = block.high;
  for (std::size_t i = 1; i < windowCount; ++i) {
    const std::uint64_t half = std::uint64_t{1} << (i - 1);
    const bool isLong = level.blocks >= 2 * half - 1 && level.blocks >= half;
    const Place& before = isLong ? level.Ago(half - 1) : place;
    place.low[i] = std::min(place.low[i - 1], before.low[i - 1]);
    place.high[i] = std::max(place.high[i - 1], before.high[i - 1]);
  }
  place.sum = block.sum;
  place.missing = block.whole ? 0 : 1;
  if (level.blocks > 0) {
    place.sum += level.Ago(0).sum;
    place.missing += level.Ago(0).missing;
  }
  level.ring[level.blocks++ % ringLength] = place;
}

void StabilityMeter::MeasureRange(Level& level, std::size_t window) {
  if (level.blocks < std::uint64_t{1} << window) return;
  const Place& place = level.Ago(0);
  if (place.high[window] > place.low[window]) {
    level.range[window] = std::max(level.range[window], place.high[window] - place.low[window]);
  }
}

/// The second difference of the sums of three windows in a row, the last of which ends with the newest block.
void StabilityMeter::MeasureDeviation(Level& level, std::size_t window) {
  const std::uint64_t length = std::uint64_t{1} << window;
  if (level.blocks <= 3 * length) return;
  const Place& end = level.Ago(0);
  const Place& begin = level.Ago(3 * length);
  if (end.missing != begin.missing) return;
  const double difference = end.sum - 3 * level.Ago(length).sum + 3 * level.Ago(2 * length).sum - begin.sum;
  level.deviation[window].squares += difference * difference;
  ++level.deviation[window].count;
}

StabilityMeter::Curve StabilityMeter::Mtie() const {
  Curve curve;
  const auto add = [&](double seconds, double range) {
    if (range > 0) curve.emplace_back(seconds, std::max(range, curve.empty() ? 0 : curve.back().second));
  };
  for (std::size_t i = 1; i < windowCount; ++i) add(std::exp2(i), levels_[0].range[i]);
  for (std::size_t level = 1; level < levelCount; ++level) {
    if (levels_[level].blocks >= ringLength / 2)
      add(std::exp2(level + 4), levels_[level].range[windowCount - 1]);
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

}  // namespace kestrune::report
