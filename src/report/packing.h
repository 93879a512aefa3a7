#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "report/buckets.h"
#include "report/side_series.h"

namespace kestrune::report {

/// One bucket of both SFPs and of their difference; any may be without records.
struct PackedRow {
  Bucket sfp[sfpCount];
  DifferenceBucket difference;
};

/// One SFP's side of a bucket that is shown on demand.
struct PackedSide {
  SideBucket figures;
  Bucket counts;
};
using PackedSideRow = std::array<PackedSide, sfpCount>;

/// The columns of an SFP in a chunk, in their order.
std::span<const char* const> ChunkColumns();
/// The same of a chunk of what is shown on demand, which has no difference.
std::span<const char* const> SideChunkColumns();

/// The bytes of a chunk before deflating: plane by plane, the distance of each value from a prediction as a
/// zigzag variable-length integer. Averages and deviations are in `parts` of a nanosecond, 1 or 10; least and
/// greatest are exact. The page's script unpacks it.
std::string PackChunk(std::span<const PackedRow> rows, int parts);
std::string PackSideChunk(std::span<const PackedSideRow> rows, int parts);

/// Raw deflate (RFC 1951). The highest level would take twice as long for a thousandth less.
std::string Deflate(const std::string& bytes);

/// Padded, without line ends.
std::string Base64(const std::string& bytes);

}  // namespace kestrune::report
