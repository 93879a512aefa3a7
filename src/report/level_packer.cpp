#include "report/level_packer.h"

#include <algorithm>
#include <array>
#include <span>
#include <thread>

#include "report/bucket_series.h"
#include "report/hand_over.h"

namespace kestrune::report {
namespace {

constexpr std::size_t secondsPerChunk = 4 * 3600;
constexpr std::size_t wideRowsPerChunk = 2880;  // two days of minutes
constexpr std::int64_t longestRead = 3600;
constexpr std::size_t readers = 2;         // beside the packing thread, which often waits for them
constexpr std::int64_t readThrough = 200;  // seconds that are sooner read than skipped

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

/// Parts that lie so near to each other that they are read in one go.
std::vector<std::span<const Stretch>> ReadTogether(std::span<const Stretch> parts) {
  std::vector<std::span<const Stretch>> groups;
  while (!parts.empty()) {
    std::size_t count = 1;
    while (count < parts.size() && parts[count].from - parts[count - 1].to <= readThrough &&
           parts[count].to - parts[0].from <= longestRead) {
      ++count;
    }
    groups.push_back(parts.first(count));
    parts = parts.subspan(count);
  }
  return groups;
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

LevelPacker::LevelPacker(std::int64_t base, std::int64_t width, int parts, std::size_t rowsPerChunk)
    : base_(base), rowsPerChunk_(rowsPerChunk) {
  level_.width = width;
  level_.parts = parts;
  rows_.reserve(rowsPerChunk);
}

void LevelPacker::Add(std::int64_t from, std::int64_t to, Seconds buckets) {
  const std::int64_t width = level_.width;
  for (auto& sfp : buckets.sfp) MergeBuckets(sfp, width);
  MergeBuckets(buckets.differences, width);
  std::array<std::size_t, sfpCount> next{};
  std::size_t nextDifference = 0;
  const std::int64_t first = BucketStart(from, width);
  for (std::int64_t start = first; start < to; start += width) {
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
    AddRow(row, (start - base_) / width);
  }
}

void LevelPacker::AddRow(const PackedRow& row, std::int64_t number) {
  if (rows_.size() == rowsPerChunk_) CloseChunk();
  if (ranges_.empty() || ranges_.back().first + ranges_.back().count != number)
    ranges_.push_back({number, 0});
  ++ranges_.back().count;
  rows_.push_back(row);
}

void LevelPacker::CloseChunk() {
  if (rows_.empty()) return;
  level_.chunks.push_back({Deflate(PackChunk(rows_, level_.parts)), std::move(ranges_)});
  rows_.clear();
  ranges_ = {};
}

PageLevel LevelPacker::Finish() {
  CloseChunk();
  return std::move(level_);
}

PageLevel PackWhole(const Recording& recording, std::int64_t width) {
  LevelPacker packer(recording.base, width, 10, wideRowsPerChunk);
  const auto& [a, b] = recording.sfp;
  const std::int64_t step = width * static_cast<std::int64_t>(wideRowsPerChunk);
  for (std::int64_t from = recording.base; from < recording.end; from += step) {
    const std::int64_t to = std::min(from + step, recording.end);
    packer.Add(from, to, PartOf(a.buckets, b.buckets, recording.differences, from, to));
  }
  return packer.Finish();
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
                    int perNanosecond) {
  LevelPacker packer(recording.base, width, perNanosecond, secondsPerChunk);
  const std::vector<std::span<const Stretch>> groups = ReadTogether(parts);
  std::array<HandOver<Seconds>, readers> handOvers;
  std::array<std::thread, readers> threads;
  for (std::size_t k = 0; k < readers; ++k) {
    threads[k] = std::thread([&, k] {
      SecondsReader reader(recording);
      Seconds seconds;
      for (std::size_t i = k; i < groups.size(); i += readers) {
        reader.Read(groups[i].front().from, groups[i].back().to, seconds);
        handOvers[k].Put(seconds);
      }
    });
  }
  std::array<Seconds, readers> read;
  for (std::size_t i = 0; i < groups.size(); ++i) {
    Seconds& seconds = read[i % readers];
    handOvers[i % readers].Take(seconds);
    const auto& [a, b] = seconds.sfp;
    for (const Stretch& part : groups[i])
      packer.Add(part.from, part.to, PartOf(a, b, seconds.differences, part.from, part.to));
  }
  for (std::thread& thread : threads) thread.join();
  return packer.Finish();
}

}  // namespace kestrune::report
