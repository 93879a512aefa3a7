#include "report/minutes.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace kestrune::report {
namespace {

constexpr std::int64_t leastSeconds = minuteLength / 2;
constexpr std::int64_t leastValues = 4;
constexpr std::int32_t longestInterval = 7;  // log2 of seconds; a minute has none of its values

/// Moves those for which `is` holds to the front, without a branch on what can't be foreseen; the first one
/// behind them.
template <typename Is>
double* Part(double* from, double* to, Is is) {
  for (; from != to && is(*from); ++from) {
  }
  double* behind = from;
  for (double* each = from; each != to; ++each) {
    const double value = *each;
    *each = *behind;
    *behind = value;
    behind += is(value) ? 1 : 0;
  }
  return behind;
}

/// The median of values, of which there are some; changes their order.
double MedianOf(std::vector<double>& values) {
  double* from = values.data();
  double* to = from + values.size();
  const double* const middle = from + values.size() / 2;
  while (true) {
    const double first = *from;
    const double last = to[-1];
    const double between = from[(to - from) / 2];
    const double pivot = std::max(std::min(first, last), std::min(std::max(first, last), between));
    double* const notLess = Part(from, to, [pivot](double value) { return value < pivot; });
    if (middle < notLess) {
      to = notLess;
      continue;
    }
    double* const greater = Part(notLess, to, [pivot](double value) { return value <= pivot; });
    if (middle < greater) return pivot;
    from = greater;
  }
}

}  // namespace

void MinuteMedians::Add(std::int64_t time, double value, std::int32_t logInterval) {
  if (!IsInMinute(time, minute_)) {
    Finish();
    minute_ = MinuteOf(time);
  }
  least_ = std::max(leastSeconds >> std::clamp(logInterval, 0, longestInterval), leastValues);
  values_.push_back(value);
}

void MinuteMedians::Finish() {
  if (values_.empty()) return;
  if (static_cast<std::int64_t>(values_.size()) >= least_) {
    all_.push_back({static_cast<std::uint32_t>(minute_), static_cast<float>(MedianOf(values_))});
  }
  values_.clear();
}

DayDeviation DeviationFromDay(const std::vector<MinuteMedians::Minute>& minutes, double limit) {
  std::map<std::int64_t, std::vector<float>> days;
  for (const auto& minute : minutes) days[DayOf(minute.start)].push_back(minute.median);
  for (auto& [day, medians] : days) {
    const auto middle = medians.begin() + static_cast<std::ptrdiff_t>(medians.size() / 2);
    std::nth_element(medians.begin(), middle, medians.end());
    medians = {*middle};
  }
  DayDeviation deviation;
  for (const auto& minute : minutes) {
    const double median = days[DayOf(minute.start)].front();
    if (median <= 0) continue;
    const double share = minute.median / median - 1;
    if (!deviation.measured || std::fabs(share) > std::fabs(deviation.worst)) {
      deviation.worst = share;
      deviation.worstAt = minute.start;
      deviation.worstMedian = minute.median;
      deviation.dayMedian = median;
    }
    deviation.measured = true;
    if (std::fabs(share) > limit) deviation.beyond.Add(minute.start, minuteLength, share);
  }
  return deviation;
}

void Add(MessageTallies& sum, const MessageSums<std::uint64_t>& added) {
  constexpr double sixteenths = 16;
  for (std::size_t kind = 0; kind < messageKinds; ++kind) {
    const auto due = static_cast<double>(added.due[kind]);
    sum[kind].due += kind == announceMessage ? due / sixteenths : due;
    sum[kind].got += static_cast<double>(added.got[kind]);
  }
}

void LossTracker::Begin(std::int64_t time) {
  Finish();
  minute_ = MinuteOf(time);
}

void LossTracker::Finish() {
  constexpr double leastMissing = 5;
  constexpr double leastShare = 0.01;
  MessageTallies minute;
  report::Add(minute, inMinute_);
  report::Add(all_, inMinute_);
  for (std::size_t kind = 0; kind < messageKinds; ++kind) {
    const MessageTally& tally = minute[kind];
    if (tally.Missing() >= leastMissing && tally.MissingShare() >= leastShare) {
      minutes_[kind].Add(minute_, minuteLength, tally.MissingShare());
    }
    if (tally.Missing() > mostMissing_[kind]) {
      mostMissing_[kind] = tally.Missing();
      worst_[kind] = {minute_, minute_ + minuteLength, tally.MissingShare(), minute_, minuteLength};
    }
  }
  inMinute_ = {};
}

void DifferenceTracker::Add(std::int64_t time, double difference, bool bothLocked) {
  if (!IsInMinute(time, minute_)) {
    Finish();
    minute_ = MinuteOf(time);
  }
  ++seconds_;
  lockedSeconds_ += bothLocked ? 1 : 0;
  sum_ += difference;
}

void DifferenceTracker::Finish() {
  if (seconds_ >= leastSeconds) {
    Figures& figures = lockedSeconds_ == seconds_ ? locked_ : unlocked_;
    const double average = sum_ / static_cast<double>(seconds_);
    figures.seconds += seconds_;
    figures.sum += sum_;
    ++figures.minutes;
    if (figures.minutes == 1 || std::fabs(average) > std::fabs(figures.worst)) {
      figures.worst = average;
      figures.worstAt = minute_;
    }
    if (std::fabs(average) > limit_) beyond_.Add(minute_, minuteLength, average);
  }
  seconds_ = 0;
  lockedSeconds_ = 0;
  sum_ = 0;
}

}  // namespace kestrune::report
