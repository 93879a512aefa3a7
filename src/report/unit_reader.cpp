#include "report/unit_reader.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace kestrune::report {
namespace {

constexpr std::int64_t earliestTime = 946'684'800;  // 2000-01-01
constexpr std::int64_t latestTime = 4'102'444'800;  // 2100-01-01
constexpr std::int64_t secondsPerDay = 86'400;
constexpr std::int64_t closeTime = 3600;  // a unit whose stamp is this near to the one before is trusted
constexpr std::int32_t mostMessages = 1'000'000;
constexpr std::int32_t highestState = 10;

bool IsTime(std::int64_t time) { return time >= earliestTime && time < latestTime; }

bool IsCount(std::int32_t count) { return count >= 0 && count < mostMessages; }

bool IsNanoseconds(std::int32_t nanoseconds) {
  return nanoseconds > -1'000'000'000 && nanoseconds < 1'000'000'000;
}

bool AreFigures(const QuantityFigures& figures) {
  return IsNanoseconds(figures.sum.nanoseconds) && IsNanoseconds(figures.minimum.nanoseconds) &&
         IsNanoseconds(figures.maximum.nanoseconds);
}

bool IsInt16(std::int32_t value) { return value >= INT16_MIN && value <= INT16_MAX; }

bool IsInt8(std::int32_t value) { return value >= INT8_MIN && value <= INT8_MAX; }

std::int64_t TimeAt(const std::byte* bytes) {
  std::int64_t time;
  std::memcpy(&time, bytes, sizeof time);
  return time;
}

}  // namespace

bool LooksLikeUnit(const RawDataUnit& unit) {
  const PerformanceMonitoring& figures = unit.record.performanceMonitoring;
  return IsTime(unit.epochTime) && unit.record.sfp < 2 && IsCount(figures.numberOfSyncSinceLastTelemetry) &&
         IsCount(figures.numberOfDelayRespSinceLastTelemetry) && AreFigures(figures.offsetFromMaster) &&
         AreFigures(figures.meanPathDelay) && unit.record.state >= 0 && unit.record.state <= highestState;
}

bool IsPlausible(const TelemetryRecord& record) {
  const PerformanceMonitoring& figures = record.performanceMonitoring;
  const PtpAnnounceInfo& announce = record.bestMasterLastPtpAnnouncePacket;
  constexpr std::uint32_t octet = 0xff;
  const std::uint32_t octets = announce.domainNumber | announce.flagFieldOctet0 | announce.flagFieldOctet1 |
                               announce.grandmasterPriority1 | announce.grandmasterClockClass |
                               announce.grandmasterClockAccuracy | announce.grandmasterPriority2 |
                               announce.timeSource;
  return record.state > 0 && record.state <= highestState && octets <= octet &&
         announce.stepsRemoved <= UINT16_MAX && IsInt16(announce.currentUtcOffset) &&
         IsInt16(record.currentUtcOffset) && IsInt8(record.logAnnounceInterval) &&
         IsInt8(record.logSyncInterval) && IsInt8(record.logMinDelayReqInterval) &&
         IsCount(figures.numberOfSyncSinceLastTelemetry) &&
         IsCount(figures.numberOfDelayRespSinceLastTelemetry) && AreFigures(figures.offsetFromMaster) &&
         AreFigures(figures.meanPathDelay);
}

UnitReader::UnitReader(const InputFile& file, std::uint64_t begin, std::uint64_t end, std::int64_t time)
    : file_(file),
      fileAt_(begin),
      end_(end),
      buffer_(std::make_unique_for_overwrite<RawDataUnit[]>(unitsPerRead)),
      lastTime_(time) {}

/// Moves what is left to the buffer's begin, which is aligned, and reads on behind it.
void UnitReader::Fill() {
  auto* data = reinterpret_cast<std::byte*>(buffer_.get());
  std::memmove(data, data + begin_, filled_ - begin_);
  filled_ -= begin_;
  begin_ = 0;
  const std::size_t room =
      static_cast<std::size_t>(std::min<std::uint64_t>(unitsPerRead * unitSize - filled_, end_ - fileAt_));
  const std::size_t got = file_.ReadAt(fileAt_, {data + filled_, room});
  if (got < room) end_ = fileAt_ + got;  // cut off meanwhile, or unreadable
  fileAt_ += got;
  filled_ += got;
}

/// How many units follow each other from here on, as far as the buffer goes. One whose time goes on from the
/// one before is a unit whatever else is in it.
std::size_t UnitReader::CountUnits(std::size_t from) const {
  std::size_t count = 0;
  std::int64_t before = lastTime_;
  for (; from + unitSize <= filled_; from += unitSize, ++count) {
    const std::int64_t time = TimeAt(Data() + from);
    if (!IsTime(time)) break;
    if (time < before - closeTime || time > before + closeTime) {
      RawDataUnit unit;
      std::memcpy(&unit, Data() + from, unitSize);
      // An SFP of another number is the card's affair as long as the rest is sound.
      unit.record.sfp = std::min<std::uint8_t>(unit.record.sfp, 1);
      if (!LooksLikeUnit(unit)) break;
    }
    before = time;
  }
  return count;
}

/// Do sound units, of times that belong together, follow each other from here on?
bool UnitReader::ContinuesAt(std::size_t from) const {
  std::int64_t before = 0;
  std::size_t count = 0;
  for (; count < unitsToTrust && from + unitSize <= filled_; ++count, from += unitSize) {
    const std::int64_t time = TimeAt(Data() + from);
    if (!IsTime(time) || (count > 0 && (time < before - secondsPerDay || time > before + secondsPerDay)))
      return false;
    RawDataUnit unit;
    std::memcpy(&unit, Data() + from, unitSize);
    // Much of a unit is zero, so only a state tells it from what lies between two others.
    if (!LooksLikeUnit(unit) || unit.record.state == 0) return false;
    before = time;
  }
  return count > 0;
}

/// Would a unit here begin with the last bytes of the one before, as its time would not go on from there?
bool UnitReader::IsForged(std::size_t from) const {
  return from > unitSize - sizeof(std::int64_t) && TimeAt(Data() + from) < TimeAt(Data()) - 1;
}

void UnitReader::Skip(std::size_t bytes) {
  if (bytes == 0) return;
  const std::uint64_t at = fileAt_ - (filled_ - begin_);
  if (!skipped_.empty() && skipped_.back().at + skipped_.back().bytes == at) {
    skipped_.back().bytes += bytes;
  } else {
    skipped_.push_back({at, bytes});
  }
  begin_ += bytes;
}

/// Passes over bytes until units follow each other again, or the buffer ends.
void UnitReader::Resume() {
  std::size_t at = begin_ + 1;
  const bool last = fileAt_ == end_;
  const std::size_t enough = last ? unitSize : unitsToTrust * unitSize;
  while (at + enough <= filled_ && !ContinuesAt(at)) ++at;
  Skip(std::min(at, filled_) - begin_);
}

std::span<const RawDataUnit> UnitReader::Yield(std::size_t count) {
  place_ = fileAt_ - (filled_ - begin_);
  const std::span units(reinterpret_cast<const RawDataUnit*>(Data() + begin_), count);
  begin_ += count * unitSize;
  lastTime_ = units.back().epochTime;
  return units;
}

std::span<const RawDataUnit> UnitReader::Next() {
  while (true) {
    Fill();
    const bool last = fileAt_ == end_;
    if (filled_ < unitSize) {
      tornBytes_ = filled_;
      return {};
    }
    const std::size_t count = CountUnits(0);
    const std::size_t whole = filled_ / unitSize;
    if (count == whole) return Yield(last ? count : count - 1);  // the last one may yet prove to be torn
    if (count > 1) return Yield(count - 1);
    if (count == 0) {
      Resume();
      continue;
    }
    // One unit, and none behind it. When others begin within it, it is torn.
    std::size_t at = 1;
    while (at < unitSize && (IsForged(at) || !ContinuesAt(at))) ++at;
    if (at < unitSize) {
      Skip(at);
    } else {
      return Yield(1);
    }
  }
}

std::vector<SkippedBytes> UnitReader::TakeSkipped() { return std::exchange(skipped_, {}); }

}  // namespace kestrune::report
