#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "files/raw_data.h"
#include "report/record.h"
#include "report/recording.h"
#include "report/retimer.h"

namespace kestrune::report {

/// From units in the order of the file to seconds: leaves out wild time stamps, follows the masters and the
/// card's counters, and gives every record its second. A walk that begins at a checkpoint sees what the first
/// one saw.
class RecordWalk {
 public:
  class Listener {
   public:
    virtual ~Listener() = default;
    /// A unit that counts, with the messages since the one before of its SFP.
    virtual void OnUnit(const RawDataUnit& /*unit*/, const CounterSteps& /*steps*/, std::uint64_t /*place*/) {
    }
    /// The number of a master that wasn't the SFP's before.
    virtual std::int32_t OnMaster(const Master& master) = 0;
    /// `record` may be changed.
    virtual void OnSecond(int sfp, TimedRecord& record) = 0;
    /// No record is held back; a later walk may begin here. The times of what follows aren't known yet.
    virtual void OnCheckpoint(const report::Checkpoint& /*checkpoint*/) {}
  };

  /// Stamps outside [from, to) are left out.
  RecordWalk(Listener& listener, std::int64_t from, std::int64_t to);
  /// Goes on at a checkpoint, as the first walk did. Before the first unit, which is to be that at
  /// `BeginFor`: the units before the checkpoint tell where the card's counters were.
  void Restart(const Checkpoint& checkpoint);
  /// The byte from which to read for a walk that goes on at a checkpoint.
  static std::uint64_t BeginFor(const report::Checkpoint& checkpoint);
  /// Ends where the first walk made a checkpoint: the unit at `place` doesn't count any more.
  void StopAt(std::uint64_t place) { stopAt_ = place; }
  bool HasStopped() const { return stopped_; }

  /// Units that follow each other in the file, the first one at `place`.
  void Take(std::span<const RawDataUnit> units, std::uint64_t place);
  /// Behind the last unit.
  void Finish();

  std::uint64_t WildStamps() const { return wildStamps_; }
  std::uint64_t Implausible() const { return implausible_; }
  std::uint64_t OutsideRange() const { return outsideRange_; }

 private:
  struct Held {
    RawDataUnit unit;
    std::uint64_t place;
  };
  struct SfpState {
    Retimer retimer;
    TelemetryRecord before;  ///< only what `HasSameMaster` and `StepsBetween` look at
    bool any = false;
    std::int32_t master = 0;
  };

  static constexpr std::int64_t near = 60;  ///< seconds; a stamp further from the one before needs company
  static constexpr std::int64_t pause = 3600;
  static constexpr std::int64_t longestKept =
      90;                                     ///< seconds that an SFP's records may wait behind the other's
  static constexpr std::size_t company = 64;  ///< units of about the same time
  static constexpr std::size_t lessCompany = 8;  ///< within `pause`, at the beginning and at the end
  static constexpr std::uint64_t unitsToRemember = 32;
  static constexpr std::uint64_t unitsPerCheckpoint = 128;
  static constexpr std::uint64_t unitsAtMost = 2048;  ///< from one checkpoint to the next

  void Resume(std::int64_t stamp);
  void Remember(const TelemetryRecord& record);
  void Offer(const RawDataUnit& unit, std::uint64_t place);
  void Hold(const RawDataUnit& unit, std::uint64_t place);
  std::size_t CompanyNeeded(std::int64_t stamp) const;
  void Release();
  void Accept(const RawDataUnit& unit, std::uint64_t place);
  bool MayStop() const;
  void Checkpoint(std::uint64_t place, std::int64_t stamp);
  void AddRecord(const RawDataUnit& unit, std::uint64_t place);

  Listener& listener_;
  std::int64_t from_;
  std::int64_t to_;
  bool anyStamp_ = false;
  bool atCheckpoint_ = false;
  std::uint64_t restartAt_ = 0;  ///< place of the checkpoint
  bool stopped_ = false;
  std::uint64_t stopAt_ = UINT64_MAX;
  std::int64_t stamp_ = 0;  ///< of the last unit that counts
  std::vector<Held> held_;  ///< units of one time far from `stamp_`
  std::uint64_t sinceCheckpoint_ = unitsPerCheckpoint;
  std::uint64_t wildStamps_ = 0;
  std::uint64_t implausible_ = 0;
  std::uint64_t outsideRange_ = 0;
  std::array<SfpState, sfpCount> sfps_;
};

}  // namespace kestrune::report
