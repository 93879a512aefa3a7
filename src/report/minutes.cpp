#include "report/minutes.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace kestrune::report {
namespace {

constexpr std::int64_t leastSeconds = minuteLength / 2;

}  // namespace

void MinuteMedians::Add(std::int64_t time, double value) {
  if (MinuteOf(time) != minute_) Finish();
  minute_ = MinuteOf(time);
  values_.push_back(value);
}

void MinuteMedians::Finish() {
  if (static_cast<std::int64_t>(values_.size()) >= leastSeconds) {
    const auto middle = values_.begin() + static_cast<std::ptrdiff_t>(values_.size() / 2);
    std::nth_element(values_.begin(), middle, values_.end());
    all_.push_back({minute_, static_cast<float>(*middle)});
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

SecondMessages MessagesOf(const Bucket& second) {
  static_assert(syncMessage == 0 && followUpMessage == 1 && delayRespMessage == 2 && announceMessage == 3);
  return {{second.syncsDue, second.followUpsDue, second.respsDue, second.announcesDue},
          {second.syncs, second.followUps, second.resps, second.announces}};
}

void Add(MessageTallies& sum, const MessageTallies& added) {
  for (std::size_t kind = 0; kind < messageKinds; ++kind) {
    sum[kind].due += added[kind].due;
    sum[kind].got += added[kind].got;
  }
}

void LossTracker::Add(std::int64_t time, const SecondMessages& second) {
  if (MinuteOf(time) != minute_) Finish();
  minute_ = MinuteOf(time);
  for (std::size_t kind = 0; kind < messageKinds; ++kind) {
    inMinute_.due[kind] += second.due[kind];
    inMinute_.got[kind] += second.got[kind];
  }
}

void LossTracker::Finish() {
  constexpr double leastMissing = 5;
  constexpr double leastShare = 0.01;
  constexpr double sixteenths = 16;
  if (minute_ == none) return;
  MessageTallies minute;
  for (std::size_t kind = 0; kind < messageKinds; ++kind) {
    MessageTally& tally = minute[kind];
    tally = {static_cast<double>(inMinute_.due[kind]), static_cast<double>(inMinute_.got[kind])};
    if (kind == announceMessage) tally.due /= sixteenths;
    if (tally.Missing() >= leastMissing && tally.MissingShare() >= leastShare) {
      minutes_[kind].Add(minute_, minuteLength, tally.MissingShare());
    }
  }
  report::Add(all_, minute);
  report::Add(days_[DayOf(minute_)], minute);
  inMinute_ = {};
}

void DifferenceTracker::Add(std::int64_t time, double difference, bool bothLocked) {
  if (MinuteOf(time) != minute_) Finish();
  minute_ = MinuteOf(time);
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
