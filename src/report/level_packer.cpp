#include "report/level_packer.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <span>
#include <thread>
#include <utility>

#include "report/bucket_series.h"
#include "report/packing.h"

namespace kestrune::report {
namespace {

constexpr std::int64_t rowsPerChunk = 2 * 3600;
constexpr std::size_t wideRowsPerChunk = 2880;  // two days of minutes
constexpr std::int64_t longestRead = 1200;      // seconds
constexpr std::int64_t readThrough = 200;       // seconds that are sooner read than skipped

/// The part of a rising series that lies in [from, to).
template <typename AnyBucket>
void CopyPart(const std::vector<AnyBucket>& all, std::int64_t from, std::int64_t to,
              std::vector<AnyBucket>& part) {
  const auto before = [](const AnyBucket& bucket, std::int64_t time) { return bucket.start < time; };
  part.assign(std::lower_bound(all.begin(), all.end(), from, before),
              std::lower_bound(all.begin(), all.end(), to, before));
}

Seconds PartOf(const std::vector<Bucket>& sfpA, const std::vector<Bucket>& sfpB,
               const std::vector<DifferenceBucket>& differences, std::int64_t from, std::int64_t to) {
  Seconds part;
  CopyPart(sfpA, from, to, part.sfp[0]);
  CopyPart(sfpB, from, to, part.sfp[1]);
  CopyPart(differences, from, to, part.differences);
  return part;
}

using Parts = std::vector<Stretch>;

/// The parts of one chunk after the other, none longer than a read.
std::vector<Parts> SplitIntoChunks(const Parts& parts, std::int64_t width) {
  std::vector<Parts> chunks;
  std::int64_t room = 0;  // rows
  for (auto [from, to] : parts) {
    while (from < to) {
      if (room == 0) {
        chunks.emplace_back();
        room = rowsPerChunk;
      }
      const std::int64_t first = BucketStart(from, width);
      const std::int64_t rows = std::clamp<std::int64_t>(longestRead / width, 1, room);
      const std::int64_t end = std::min(to, first + rows * width);
      chunks.back().push_back({from, end});
      room -= (end - first + width - 1) / width;
      from = end;
    }
  }
  return chunks;
}

/// How many of the foremost parts lie so near to each other that they are read in one go.
std::size_t CountTogether(std::span<const Stretch> parts) {
  std::size_t count = 1;
  while (count < parts.size() && parts[count].from - parts[count - 1].to <= readThrough &&
         parts[count].to - parts[0].from <= longestRead) {
    ++count;
  }
  return count;
}

/// Collects the rows of a chunk.
class ChunkPacker {
 public:
  /// `parts` of a nanosecond.
  ChunkPacker(std::int64_t base, std::int64_t width, int parts) : base_(base), width_(width), parts_(parts) {}

  /// The buckets of [from, to), which lies behind what was added before; `buckets` are narrower ones, or as
  /// wide.
  void Add(std::int64_t from, std::int64_t to, Seconds buckets);
  /// The chunk; what is added next belongs to another one.
  LevelChunk Finish() {
    LevelChunk chunk{Deflate(PackChunk(rows_, parts_)), std::exchange(ranges_, {})};
    rows_.clear();
    return chunk;
  }

 private:
  void AddRow(const PackedRow& row, std::int64_t number);

  std::int64_t base_;
  std::int64_t width_;
  int parts_;
  std::vector<PackedRow> rows_;
  std::vector<BucketRange> ranges_;
};

void ChunkPacker::Add(std::int64_t from, std::int64_t to, Seconds buckets) {
  for (auto& sfp : buckets.sfp) MergeBuckets(sfp, width_);
  MergeBuckets(buckets.differences, width_);
  std::array<std::size_t, sfpCount> next{};
  std::size_t nextDifference = 0;
  const std::int64_t first = BucketStart(from, width_);
  for (std::int64_t start = first; start < to; start += width_) {
    PackedRow row;
    for (std::size_t k = 0; k < sfpCount; ++k) {
      const auto& all = buckets.sfp[k];
      while (next[k] < all.size() && all[next[k]].start < start) ++next[k];
      if (next[k] < all.size() && all[next[k]].start == start) row.sfp[k] = all[next[k]];
    }
    const auto& all = buckets.differences;
    while (nextDifference < all.size() && all[nextDifference].start < start) ++nextDifference;
    if (nextDifference < all.size() && all[nextDifference].start == start)
      row.difference = all[nextDifference];
    AddRow(row, (start - base_) / width_);
  }
}

void ChunkPacker::AddRow(const PackedRow& row, std::int64_t number) {
  if (ranges_.empty() || ranges_.back().first + ranges_.back().count != number)
    ranges_.push_back({number, 0});
  ++ranges_.back().count;
  rows_.push_back(row);
}

}  // namespace

std::size_t PageLevel::Bytes() const {
  std::size_t bytes = 0;
  for (const LevelChunk& chunk : chunks) bytes += chunk.bytes.size();
  return bytes;
}

std::int64_t PageLevel::Buckets() const {
  std::int64_t buckets = 0;
  for (const LevelChunk& chunk : chunks) {
    for (const BucketRange& range : chunk.ranges) buckets += range.count;
  }
  return buckets;
}

PageLevel PackWhole(const Recording& recording, std::int64_t width) {
  PageLevel level;
  level.width = width;
  ChunkPacker packer(recording.base, width, level.parts);
  const auto& [a, b] = recording.sfp;
  const std::int64_t step = width * static_cast<std::int64_t>(wideRowsPerChunk);
  for (std::int64_t from = recording.base; from < recording.end; from += step) {
    const std::int64_t to = std::min(from + step, recording.end);
    packer.Add(from, to, PartOf(a.buckets, b.buckets, recording.differences, from, to));
    level.chunks.push_back(packer.Finish());
  }
  return level;
}

PageLevel PackSideLevel(const Recording& recording, const SideSeries& side, std::int64_t width) {
  std::vector<PackedSideRow> rows(
      static_cast<std::size_t>((recording.end - recording.base + width - 1) / width));
  // A time stamp may lie a second beside the second that was found for its record.
  const auto rowOf = [&](std::int64_t start) -> PackedSideRow& {
    const std::int64_t number = (start - recording.base) / width;
    return rows[static_cast<std::size_t>(
        std::clamp<std::int64_t>(number, 0, static_cast<std::int64_t>(rows.size()) - 1))];
  };
  for (int sfp = 0; sfp < sfpCount; ++sfp) {
    const auto k = static_cast<std::size_t>(sfp);
    for (const SideBucket& bucket : side.Of(sfp)) rowOf(bucket.start)[k].figures.Merge(bucket);
    for (const Bucket& bucket : recording.sfp[k].buckets) rowOf(bucket.start)[k].counts.Merge(bucket);
  }
  PageLevel level;
  level.width = width;
  level.isSide = true;
  for (std::size_t first = 0; first < rows.size(); first += wideRowsPerChunk) {
    const std::size_t count = std::min(wideRowsPerChunk, rows.size() - first);
    const BucketRange range{static_cast<std::int64_t>(first), static_cast<std::int64_t>(count)};
    level.chunks.push_back(
        {Deflate(PackSideChunk(std::span(rows).subspan(first, count), level.parts)), {range}});
  }
  return level;
}

PageLevel PackParts(const Recording& recording, const std::vector<Stretch>& parts, std::int64_t width,
                    int perNanosecond, std::size_t room) {
  const std::vector<Parts> chunks = SplitIntoChunks(parts, width);
  PageLevel level;
  level.width = width;
  level.parts = perNanosecond;
  level.chunks.resize(chunks.size());
  std::atomic<std::size_t> next = 0;
  std::atomic<std::size_t> bytes = 0;
  const auto pack = [&] {
    SecondsReader reader(recording);
    Seconds seconds;
    ChunkPacker packer(recording.base, width, perNanosecond);
    while (bytes <= room) {
      const std::size_t i = next++;
      if (i >= chunks.size()) break;
      for (std::span<const Stretch> rest = chunks[i]; !rest.empty();) {
        const std::span<const Stretch> together = rest.first(CountTogether(rest));
        rest = rest.subspan(together.size());
        reader.Read(together.front().from, together.back().to, seconds);
        const auto& [a, b] = seconds.sfp;
        for (const Stretch& part : together)
          packer.Add(part.from, part.to, PartOf(a, b, seconds.differences, part.from, part.to));
      }
      level.chunks[i] = packer.Finish();
      bytes += level.chunks[i].bytes.size();
    }
  };
  std::thread other(pack);
  pack();
  other.join();
  // Whoever took a chunk packed it, so that those kept don't depend on which thread was ahead.
  std::size_t kept = 0;
  for (bytes = 0; kept < chunks.size() && bytes <= room; ++kept) bytes += level.chunks[kept].bytes.size();
  level.chunks.resize(kept);
  return level;
}

}  // namespace kestrune::report
