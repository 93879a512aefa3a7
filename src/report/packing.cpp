#include "report/packing.h"

#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace kestrune::report {
namespace {

constexpr double largest = 4503599627370496.0;  // 2^52: what the page's numbers hold through their arithmetic
constexpr std::int64_t largestToSmooth = std::int64_t{1} << 48;
constexpr std::int64_t largestStep = 16'384;
constexpr std::int64_t sixteenths = 16;

constexpr const char* columns[] = {"records", "syncs",  "syncsDue", "resps",    "respsDue",
                                   "locked",  "offLo",  "offHi",    "offAvg10", "offSd10",
                                   "pathLo",  "pathHi", "pathAvg10"};

/// By `SideQuantity`, behind the counts.
constexpr const char* sideColumns[] = {
    "records",      "locked",          "syncs",       "resps",       "followUps",      "followUpsDue",
    "announces",    "announcesDue",    "discarded",   "errors",      "dropped",        "toFollowerLo",
    "toFollowerHi", "toFollowerAvg10", "jitterLo",    "jitterHi",    "jitterAvg10",    "toMasterLo",
    "toMasterHi",   "toMasterAvg10",   "respDelayLo", "respDelayHi", "respDelayAvg10", "rxLo",
    "rxHi",         "rxAvg10",         "txLo",        "txHi",        "txAvg10"};

std::int64_t FloorDivide(std::int64_t value, std::int64_t divisor) {
  return value / divisor - (value % divisor < 0 ? 1 : 0);
}

std::int64_t Clamp(std::int64_t value) {
  const auto most = static_cast<std::int64_t>(largest);
  return std::clamp(value, -most, most);
}

std::int64_t Round(double value) { return std::llround(std::clamp(value, -largest, largest)); }

/// Distances of a plane's values from what the reader will have predicted.
class PlaneWriter {
 public:
  explicit PlaneWriter(std::string& bytes) : bytes_(bytes) {}

  void Count(std::int64_t value) {
    Put(value - last_);
    last_ = value;
  }

  void Smooth(std::int64_t value) {
    value = Clamp(value);
    Put(value - FloorDivide(prediction_ + sixteenths / 2, sixteenths));
    const std::int64_t difference = value * sixteenths - prediction_;
    if (first_ || std::llabs(difference) > largestStep || std::llabs(value) > largestToSmooth) {
      prediction_ = value * sixteenths;
    } else {
      prediction_ += FloorDivide(difference, 8);
    }
    first_ = false;
  }

 private:
  void Put(std::int64_t value) {
    auto rest = (static_cast<std::uint64_t>(value) << 1) ^ static_cast<std::uint64_t>(value >> 63);
    for (; rest > 127; rest >>= 7) bytes_ += static_cast<char>((rest & 127) | 128);
    bytes_ += static_cast<char>(rest);
  }

  std::string& bytes_;
  std::int64_t last_ = 0;
  std::int64_t prediction_ = 0;
  bool first_ = true;
};

/// A quantity as it is stored: the average in parts of a nanosecond, the extremes as distances from it.
struct Stored {
  std::int64_t low;
  std::int64_t high;
  std::int64_t average;
  std::int64_t deviation;
};

Stored Store(const Stat& stat, int parts) {
  const std::int64_t average = Round(stat.mean * parts);
  const std::int64_t whole = FloorDivide(average + parts / 2, parts);
  return {whole - Clamp(stat.least), Clamp(stat.greatest) - whole, average,
          Round(stat.StandardDeviation() * parts)};
}

/// The difference of the SFPs, which comes in tenths of a nanosecond.
Stored StoreDifference(const Stat& stat, int parts) {
  const auto scaled = [&](double tenths) { return Round(tenths * parts / 10); };
  const std::int64_t average = scaled(stat.mean);
  return {average - scaled(static_cast<double>(stat.least)),
          scaled(static_cast<double>(stat.greatest)) - average, average, 0};
}

template <typename Row, typename Value>
void PackCounts(std::span<const Row> rows, std::string& bytes, Value value) {
  PlaneWriter plane(bytes);
  for (const Row& row : rows) plane.Count(static_cast<std::int64_t>(value(row)));
}

void PackPlane(std::span<const Stored> all, std::int64_t Stored::*member, std::string& bytes) {
  PlaneWriter plane(bytes);
  for (const Stored& stored : all) plane.Smooth(stored.*member);
}

void PackSfp(std::span<const PackedRow> rows, std::size_t k, int parts, std::string& bytes) {
  for (const auto member : {&Bucket::records, &Bucket::syncs, &Bucket::syncsDue, &Bucket::resps,
                            &Bucket::respsDue, &Bucket::locked}) {
    PackCounts(rows, bytes, [&](const PackedRow& row) { return row.sfp[k].*member; });
  }
  std::vector<Stored> offsets;
  std::vector<Stored> paths;
  for (const PackedRow& row : rows) {
    if (row.sfp[k].syncs > 0) offsets.push_back(Store(row.sfp[k].offset, parts));
    if (row.sfp[k].resps > 0) paths.push_back(Store(row.sfp[k].path, parts));
  }
  for (const auto member : {&Stored::low, &Stored::high, &Stored::average, &Stored::deviation}) {
    PackPlane(offsets, member, bytes);
  }
  for (const auto member : {&Stored::low, &Stored::high, &Stored::average}) PackPlane(paths, member, bytes);
}

void PackSide(std::span<const PackedSideRow> rows, std::size_t k, int parts, std::string& bytes) {
  for (const auto member : {&SideBucket::records, &SideBucket::locked}) {
    PackCounts(rows, bytes, [&](const PackedSideRow& row) { return row[k].figures.*member; });
  }
  for (const SideQuantity weight : {sideToFollower, sideToMaster}) {
    PackCounts(rows, bytes, [&](const PackedSideRow& row) { return row[k].figures.figures[weight].count; });
  }
  for (const auto member :
       {&Bucket::followUps, &Bucket::followUpsDue, &Bucket::announces, &Bucket::announcesDue,
        &Bucket::discarded, &Bucket::linkErrors, &Bucket::linkDrops}) {
    PackCounts(rows, bytes, [&](const PackedSideRow& row) { return row[k].counts.*member; });
  }
  for (std::size_t q = 0; q < sideQuantityCount; ++q) {
    std::vector<Stored> all;
    for (const PackedSideRow& row : rows) {
      const Stat& stat = row[k].figures.figures[q];
      if (stat.count > 0) all.push_back(Store(stat, parts));
    }
    for (const auto member : {&Stored::low, &Stored::high, &Stored::average}) PackPlane(all, member, bytes);
  }
}

void PackDifferences(std::span<const PackedRow> rows, int parts, std::string& bytes) {
  PackCounts(rows, bytes, [](const PackedRow& row) { return row.difference.all.count; });
  std::vector<Stored> differences;
  for (const PackedRow& row : rows) {
    if (row.difference.all.count > 0) differences.push_back(StoreDifference(row.difference.all, parts));
  }
  for (const auto member : {&Stored::average, &Stored::low, &Stored::high})
    PackPlane(differences, member, bytes);
}

}  // namespace

std::span<const char* const> ChunkColumns() { return columns; }

std::span<const char* const> SideChunkColumns() { return sideColumns; }

std::string PackSideChunk(std::span<const PackedSideRow> rows, int parts) {
  std::string bytes;
  for (std::size_t k = 0; k < sfpCount; ++k) PackSide(rows, k, parts, bytes);
  return bytes;
}

std::string PackChunk(std::span<const PackedRow> rows, int parts) {
  std::string bytes;
  for (std::size_t k = 0; k < sfpCount; ++k) PackSfp(rows, k, parts, bytes);
  PackDifferences(rows, parts, bytes);
  return bytes;
}

std::string Deflate(const std::string& bytes) {
  z_stream stream{};
  if (deflateInit2(&stream, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -MAX_WBITS, MAX_MEM_LEVEL,
                   Z_DEFAULT_STRATEGY) != Z_OK) {
    return {};
  }
  std::string deflated(deflateBound(&stream, static_cast<uLong>(bytes.size())), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(bytes.data()));
  stream.avail_in = static_cast<uInt>(bytes.size());
  stream.next_out = reinterpret_cast<Bytef*>(deflated.data());
  stream.avail_out = static_cast<uInt>(deflated.size());
  deflate(&stream, Z_FINISH);
  deflated.resize(stream.total_out);
  deflated.shrink_to_fit();
  deflateEnd(&stream);
  return deflated;
}

std::string Base64(const std::string& bytes) {
  constexpr char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < bytes.size(); i += 3) {
    std::uint32_t group = 0;
    for (std::size_t j = 0; j < 3; ++j) {
      group = group << 8 | (i + j < bytes.size() ? static_cast<std::uint8_t>(bytes[i + j]) : 0);
    }
    for (std::size_t j = 0; j < 4; ++j)
      text += i + j > bytes.size() ? '=' : digits[group >> (18 - 6 * j) & 63];
  }
  return text;
}

}  // namespace kestrune::report
