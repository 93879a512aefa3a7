#include "report/side_series.h"

#include <algorithm>

#include "report/bucket_series.h"
#include "report/unit_sums.h"

namespace kestrune::report {

void SideBucket::Merge(const SideBucket& other) {
  records += other.records;
  locked += other.locked;
  for (std::size_t q = 0; q < sideQuantityCount; ++q) figures[q].Merge(other.figures[q]);
}

/// Those of one bucket.
Stretch SideSeries::Together(int /*sfp*/, std::int64_t stamp) const {
  const std::int64_t start = BucketStart(stamp, width_);
  return {start, start + width_};
}

void SideSeries::OnUnits(int sfp, const UnitSums& sums) {
  SideBucket bucket;
  bucket.start = BucketStart(sums.first, width_);
  bucket.records = sums.records;
  bucket.locked = sums.locked;
  for (const FigureTotals& figures : sums.figures) {
    bucket.figures[sideToFollower].Merge(figures.Of(toFollower));
    bucket.figures[sideJitter].Merge(figures.Of(originJitter));
    bucket.figures[sideToMaster].Merge(figures.Of(toMaster));
    bucket.figures[sideReqToResp].Merge(figures.Of(reqToResp));
  }
  bucket.figures[sideReceiveRate] = sums.receiveRate.Of(sums.records);
  bucket.figures[sideTransmitRate] = sums.transmitRate.Of(sums.records);
  if (AppendToSeries(series_[static_cast<std::size_t>(sfp)], bucket, width_, mostBuckets)) Widen();
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
  for (auto& series : series_) MergeBuckets(series, width_);
}

}  // namespace kestrune::report
