#include "report/side_series.h"

#include <algorithm>

#include "report/bucket_series.h"
#include "report/record.h"

namespace kestrune::report {
namespace {

constexpr std::int64_t minute = 60;

std::int64_t Value(const SecondsNanoseconds& parts) {
  return parts.seconds * nanosecondsPerSecond + parts.nanoseconds;
}

}  // namespace

void SideBucket::Merge(const SideBucket& other) {
  records += other.records;
  locked += other.locked;
  for (std::size_t q = 0; q < sideQuantityCount; ++q) figures[q].Merge(other.figures[q]);
}

void SideSeries::Sum::Add(std::int64_t messages, std::int64_t total, std::int64_t low, std::int64_t high) {
  count += messages;
  sum += static_cast<double>(total);
  least = std::min(least, low);
  greatest = std::max(greatest, high);
}

void SideSeries::OnUnit(const RawDataUnit& unit) {
  const TelemetryRecord& record = unit.record;
  Minute& now = minutes_[record.sfp];
  if (now.records == 0 || unit.epochTime < now.start || unit.epochTime >= now.start + minute) {
    Close(record.sfp);
    now.start = BucketStart(unit.epochTime, minute);
  }
  ++now.records;
  now.locked += record.state == followerLocked ? 1 : 0;
  const auto add = [&](SideQuantity quantity, std::int32_t messages, const QuantityFigures& figures) {
    now.sums[quantity].Add(messages, Value(figures.sum), Value(figures.minimum), Value(figures.maximum));
  };
  const PerformanceMonitoring& all = record.performanceMonitoring;
  if (const std::int32_t syncs = all.numberOfSyncSinceLastTelemetry; syncs > 0) {
    add(sideToFollower, syncs, all.masterToFollowerDelay);
    add(sideJitter, syncs, all.originTimestampJitter);
  }
  if (const std::int32_t resps = all.numberOfDelayRespSinceLastTelemetry; resps > 0) {
    add(sideToMaster, resps, all.followerToMasterDelay);
    add(sideReqToResp, resps, all.delayReqToDelayRespDelay);
  }
  const auto addRate = [&](SideQuantity quantity, std::uint64_t bytes) {
    const auto rate = static_cast<std::int64_t>(std::min<std::uint64_t>(bytes, INT64_MAX));
    now.sums[quantity].Add(1, rate, rate, rate);
  };
  addRate(sideReceiveRate, record.linkReceiveRate);
  addRate(sideTransmitRate, record.linkTransmitRate);
}

void SideSeries::Close(std::size_t sfp) {
  Minute& read = minutes_[sfp];
  if (read.records == 0) return;
  SideBucket bucket;
  bucket.start = read.start;
  bucket.records = read.records;
  bucket.locked = read.locked;
  for (std::size_t q = 0; q < sideQuantityCount; ++q) {
    const Sum& sum = read.sums[q];
    if (sum.count > 0) bucket.figures[q] = Stat::Of(sum.count, sum.sum, sum.least, sum.greatest, 0);
  }
  read = {};
  if (AppendToSeries(series_[sfp], bucket, width_, mostBuckets)) Widen();
}

/// Makes room, by wider buckets if sorting isn't enough.
void SideSeries::Widen() {
  const auto merge = [&] {
    for (auto& series : series_) MergeBuckets(series, width_);
    return std::max(series_[0].size(), series_[1].size());
  };
  while (merge() > mostBuckets / 2) width_ = WiderBucket(width_);
}

void SideSeries::Finish() {
  for (std::size_t sfp = 0; sfp < sfpCount; ++sfp) {
    Close(sfp);
    MergeBuckets(series_[sfp], width_);
  }
}

}  // namespace kestrune::report
