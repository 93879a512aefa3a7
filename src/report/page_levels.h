#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "report/recording.h"
#include "report/side_series.h"

namespace kestrune::report {

/// A part of the recording that a reader of the page will want to see closely.
struct PageEpisode {
  std::int64_t from = 0;  ///< epoch seconds
  std::int64_t to = 0;
  int severity = 0;  ///< 0 pass, 1 info, 2 warn, 3 fail
  int sfps = 0;      ///< bit 0 SFP A, bit 1 SFP B
};

/// Buckets that follow each other, by their number from the recording's base.
struct BucketRange {
  std::int64_t first = 0;
  std::int64_t count = 0;
};

struct LevelChunk {
  std::string bytes;  ///< deflated
  std::vector<BucketRange> ranges;
};

/// Buckets of one width; the whole recording, or parts of it.
struct PageLevel {
  std::int64_t width = 0;  ///< seconds
  int parts = 10;          ///< of a nanosecond, in which averages are
  bool isSide = false;     ///< does it hold what is shown on demand, in columns of its own?
  std::vector<LevelChunk> chunks;

  std::size_t Bytes() const;
  std::int64_t Buckets() const;
};

/// The levels that fit into about `room` bytes, the coarsest first: one covers everything, the others what
/// the room allows, the surroundings of episodes and extremes first. Behind them stands what is shown on
/// demand, in one width.
std::vector<PageLevel> BuildLevels(const Recording& recording, const SideSeries& side,
                                   const std::vector<PageEpisode>& episodes, std::size_t room);

}  // namespace kestrune::report
