#pragma once

#include <cstdint>
#include <vector>

#include "report/packing.h"
#include "report/page_levels.h"
#include "report/recording.h"

namespace kestrune::report {

/// Collects rows into chunks of a level.
class LevelPacker {
 public:
  /// A chunk holds at most `rowsPerChunk` rows.
  LevelPacker(std::int64_t base, std::int64_t width, int parts, std::size_t rowsPerChunk);

  /// The buckets of [from, to), which lies behind what was added before; `seconds` are narrower ones, or as
  /// wide.
  void Add(std::int64_t from, std::int64_t to, Seconds buckets);
  PageLevel Finish();

 private:
  void AddRow(const PackedRow& row, std::int64_t number);
  void CloseChunk();

  std::int64_t base_;
  std::size_t rowsPerChunk_;
  std::vector<PackedRow> rows_;
  std::vector<BucketRange> ranges_;
  PageLevel level_;
};

/// The whole recording in one width, a multiple of its buckets'.
PageLevel PackWhole(const Recording& recording, std::int64_t width);

/// What is shown on demand, in one width, a multiple of the recording's buckets' and of the series'.
PageLevel PackSideLevel(const Recording& recording, const SideSeries& side, std::int64_t width);

/// The single seconds of these parts, which rise and don't overlap, merged into buckets of `width`.
PageLevel PackParts(const Recording& recording, const std::vector<Stretch>& parts, std::int64_t width,
                    int perNanosecond);

}  // namespace kestrune::report
