#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kestrune::report {

/// The full bucket that a time is in.
constexpr std::int64_t BucketStart(std::int64_t time, std::int64_t width) {
  const std::int64_t rest = time % width;
  return time - (rest < 0 ? rest + width : rest);
}

/// The next of the widths that a recording's buckets have: 60, 120, 360, 720, 3600 seconds, then doubled.
constexpr std::int64_t WiderBucket(std::int64_t width) {
  if (width == 120) return 360;
  if (width == 720) return 3600;
  return width * 2;
}

/// Sorts buckets by time and merges those of one `width`.
template <typename AnyBucket>
void MergeBuckets(std::vector<AnyBucket>& buckets, std::int64_t width) {
  const auto earlier = [](const AnyBucket& a, const AnyBucket& b) { return a.start < b.start; };
  if (!std::is_sorted(buckets.begin(), buckets.end(), earlier))
    std::stable_sort(buckets.begin(), buckets.end(), earlier);
  std::size_t kept = 0;
  for (std::size_t i = 0; i < buckets.size(); ++i) {
    const std::int64_t start = BucketStart(buckets[i].start, width);
    if (kept > 0 && buckets[kept - 1].start == start) {
      buckets[kept - 1].Merge(buckets[i]);
    } else if (buckets[i].start == start) {
      if (kept != i) buckets[kept] = buckets[i];
      ++kept;
    } else {
      AnyBucket first;
      first.start = start;
      first.Merge(buckets[i]);
      buckets[kept++] = first;
    }
  }
  buckets.resize(kept);
}

/// The same, as a new series.
template <typename AnyBucket>
std::vector<AnyBucket> MergedBuckets(std::vector<AnyBucket> buckets, std::int64_t width) {
  MergeBuckets(buckets, width);
  return buckets;
}

/// Adds a narrow bucket to a series of wide ones, at its end unless the last one is that of its time. True
/// when the series has reached `most` and wants `MergeBuckets`.
template <typename AnyBucket>
bool AppendToSeries(std::vector<AnyBucket>& series, const AnyBucket& narrow, std::int64_t width,
                    std::size_t most) {
  const bool fits =
      !series.empty() && narrow.start >= series.back().start && narrow.start < series.back().start + width;
  if (!fits) {
    series.emplace_back();
    series.back().start = BucketStart(narrow.start, width);
  }
  series.back().Merge(narrow);
  return series.size() >= most;
}

}  // namespace kestrune::report
