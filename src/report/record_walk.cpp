#include "report/record_walk.h"

#include <algorithm>
#include <cstddef>
#include <cstring>

#include "report/unit_reader.h"

namespace kestrune::report {
namespace {

bool IsNear(std::int64_t before, std::int64_t stamp, std::int64_t seconds) {
  return stamp >= before - seconds && stamp <= before + seconds;
}

/// From this byte on.
void CopyTail(const TelemetryRecord& from, TelemetryRecord& to, std::size_t begin) {
  std::memcpy(reinterpret_cast<std::byte*>(&to) + begin, reinterpret_cast<const std::byte*>(&from) + begin,
              sizeof(TelemetryRecord) - begin);
}

}  // namespace

RecordWalk::RecordWalk(Listener& listener, std::int64_t from, std::int64_t to)
    : listener_(listener), from_(from), to_(to) {}

void RecordWalk::Restart(const Checkpoint& checkpoint) {
  atCheckpoint_ = true;
  restartAt_ = checkpoint.place;
  for (std::size_t k = 0; k < sfpCount; ++k) sfps_[k].hasEarlier = checkpoint.last[k] != Retimer::noTime;
}

std::uint64_t RecordWalk::BeginFor(const Checkpoint& checkpoint) {
  return checkpoint.place - std::min(checkpoint.place, unitsToRemember * sizeof(RawDataUnit));
}

void RecordWalk::Take(std::span<const RawDataUnit> units, std::uint64_t place) {
  for (const RawDataUnit& unit : units) {
    if (stopped_) return;
    if (place < restartAt_) {
      if (MayHaveCounted(unit)) Remember(unit, place);
    } else {
      if (atCheckpoint_) Resume(unit.epochTime);
      if (unit.record.sfp < sfpCount) Offer(unit, place);
    }
    place += sizeof unit;
  }
}

/// The unit at a checkpoint counted in the first walk.
void RecordWalk::Resume(std::int64_t stamp) {
  atCheckpoint_ = false;
  anyStamp_ = true;
  stamp_ = stamp;
}

/// Did a unit before the checkpoint count in the first walk, so that a step of counters may begin there?
bool RecordWalk::MayHaveCounted(const RawDataUnit& unit) const {
  return unit.record.sfp < sfpCount && sfps_[unit.record.sfp].hasEarlier && unit.epochTime >= from_ &&
         unit.epochTime < to_ && IsPlausible(unit.record);
}

/// What the SFP's next record is compared with.
void RecordWalk::Remember(const RawDataUnit& unit, std::uint64_t place) {
  const TelemetryRecord& record = unit.record;
  SfpState& state = sfps_[record.sfp];
  if (!state.any || !HasSameMaster(state.before, record)) {
    state.master = listener_.OnMaster(MasterOf(record));
    state.before.bestMasterLastPtpAnnouncePacket = record.bestMasterLastPtpAnnouncePacket;
    CopyTail(record, state.before, offsetof(TelemetryRecord, currentUtcOffset));
  } else {
    CopyTail(record, state.before, offsetof(TelemetryRecord, announceMessagesReceived));
  }
  state.any = true;
  state.stamp = unit.epochTime;
  state.place = place;
}

void RecordWalk::Offer(const RawDataUnit& unit, std::uint64_t place) {
  if (unit.epochTime < from_ || unit.epochTime >= to_) {
    ++outsideRange_;
  } else if (!IsPlausible(unit.record)) {
    ++implausible_;
  } else if (anyStamp_ && IsNear(stamp_, unit.epochTime, near)) {
    wildStamps_ += held_.size();
    held_.clear();
    Accept(unit, place);
  } else {
    Hold(unit, place);
  }
}

/// A stamp far from the one before is believed when others of about its time follow.
void RecordWalk::Hold(const RawDataUnit& unit, std::uint64_t place) {
  if (!held_.empty() && !IsNear(held_.back().unit.epochTime, unit.epochTime, near)) {
    wildStamps_ += held_.size();
    held_.clear();
  }
  held_.push_back({unit, place});
  if (held_.size() >= CompanyNeeded(unit.epochTime)) Release();
}

std::size_t RecordWalk::CompanyNeeded(std::int64_t stamp) const {
  return !anyStamp_ || (stamp > stamp_ && IsNear(stamp_, stamp, pause)) ? lessCompany : company;
}

void RecordWalk::Release() {
  for (const Held& held : held_) Accept(held.unit, held.place);
  held_.clear();
}

void RecordWalk::Accept(const RawDataUnit& unit, std::uint64_t place) {
  stopped_ |= place >= stopAt_;
  if (stopped_) return;
  anyStamp_ = true;
  stamp_ = unit.epochTime;
  AddRecord(unit, place);
}

/// What was counted while no record told of it belongs to no second. Nor does a step count from further back
/// than a walk remembers that begins in between.
CounterSteps RecordWalk::StepsOf(const RawDataUnit& unit, std::uint64_t place) const {
  const SfpState& state = sfps_[unit.record.sfp];
  const bool follows = state.any && IsNear(state.stamp, unit.epochTime, longestStep) &&
                       place - state.place < unitsToRemember * sizeof unit;
  return follows ? StepsBetween(state.before, unit.record) : CounterSteps{};
}

void RecordWalk::AddRecord(const RawDataUnit& unit, std::uint64_t place) {
  const TelemetryRecord& record = unit.record;
  SfpState& state = sfps_[record.sfp];
  const CounterSteps steps = StepsOf(unit, place);
  Remember(unit, place);
  TimedRecord& timed = listener_.Slot(record.sfp);
  FillSecond(record, steps, timed.second);
  timed.second.start = unit.epochTime;
  timed.state = record.state;
  timed.asksForDelay = AsksForDelay(record);
  timed.master = state.master;
  timed.packets = record.linkPacketsReceived;
  timed.place = place;
  listener_.OnRecord(unit, steps);
}

void RecordWalk::Finish() {
  if (!stopped_ && (!anyStamp_ || held_.size() >= lessCompany)) {
    Release();
  } else {
    wildStamps_ += held_.size();
    held_.clear();
  }
}

}  // namespace kestrune::report
