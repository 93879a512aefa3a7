#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "files/raw_data.h"
#include "platform/input_file.h"

namespace kestrune::report {

/// What `UnitReader` passed over.
struct SkippedBytes {
  std::uint64_t at = 0;  ///< byte of the file
  std::uint64_t bytes = 0;
};

/// Could this be a unit, by itself: a time stamp of the years 2000 to 2099, an SFP, counts, figures and a
/// state as a card delivers them?
bool LooksLikeUnit(const RawDataUnit& unit);

/// Could a card have delivered this? Figures, state and what comes from an Announce message lie within what
/// their kind can be. What is overwritten, or patched together of two torn units, hardly ever does.
bool IsPlausible(const TelemetryRecord& record);

/// Walks through raw data by large reads and yields its units. Where something else stands, such as a torn
/// unit and what was appended behind it, it looks byte by byte for the place from which units follow each
/// other again.
class UnitReader {
 public:
  static constexpr std::int64_t noTime = 0;

  /// Reads [begin, end) of `file`, which outlives the reader. `begin` is a unit's place, `time` the stamp of
  /// that unit when it is known to be one.
  UnitReader(const InputFile& file, std::uint64_t begin, std::uint64_t end, std::int64_t time = noTime);

  /// The next units, one behind the other without a gap; empty at the end. Valid until the next call.
  std::span<const RawDataUnit> Next();
  /// The byte of the file at which the units of the last `Next` begin.
  std::uint64_t Place() const { return place_; }
  /// What was passed over since the last call, in the order of the file.
  std::vector<SkippedBytes> TakeSkipped();
  /// Bytes at the end that are no whole unit; at the end only.
  std::uint64_t TornBytes() const { return tornBytes_; }
  /// Where reading ends: before the `end` that was asked for when the file has been cut off, or can't be
  /// read.
  std::uint64_t End() const { return end_; }

 private:
  static constexpr std::size_t unitSize = sizeof(RawDataUnit);
  static constexpr std::size_t unitsPerRead = 128;
  static constexpr std::size_t unitsToTrust = 3;  ///< off the grid

  const std::byte* Data() const { return reinterpret_cast<const std::byte*>(buffer_.get()); }
  void Fill();
  std::size_t CountUnits(std::size_t from) const;
  bool ContinuesAt(std::size_t from) const;
  bool IsForged(std::size_t from) const;
  void Resume();
  void Skip(std::size_t bytes);
  std::span<const RawDataUnit> Yield(std::size_t count);

  const InputFile& file_;
  std::uint64_t fileAt_;  ///< of the first byte behind the buffer
  std::uint64_t end_;
  std::unique_ptr<RawDataUnit[]> buffer_;
  std::size_t begin_ = 0;  ///< bytes of the buffer that are yet to be yielded: [begin_, filled_)
  std::size_t filled_ = 0;
  std::int64_t lastTime_;  ///< stamp of the last unit
  std::uint64_t place_ = 0;
  std::uint64_t tornBytes_ = 0;
  std::vector<SkippedBytes> skipped_;
};

}  // namespace kestrune::report
