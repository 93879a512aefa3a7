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

/// From units in the order of the file to records: leaves out wild time stamps, follows the masters and the
/// card's counters. A walk that begins at a checkpoint sees what the first one saw.
class RecordWalk {
 public:
  class Listener {
   public:
    virtual ~Listener() = default;
    /// The number of a master that wasn't the SFP's before.
    virtual std::int32_t OnMaster(const Master& master) = 0;
    /// Where the SFP's next record is to be filled in.
    virtual TimedRecord& Slot(int sfp) = 0;
    /// The slot is filled in from this unit, which counts, with the messages since the one before of its SFP.
    virtual void OnRecord(const RawDataUnit& unit, const CounterSteps& steps) = 0;
  };

  /// Stamps outside [from, to) are left out.
  RecordWalk(Listener& listener, std::int64_t from, std::int64_t to);
  /// Goes on at a checkpoint, as the first walk did. Before the first unit, which is to be that at
  /// `BeginFor`: the units before the checkpoint tell where the card's counters were.
  void Restart(const Checkpoint& checkpoint);
  /// The byte from which to read for a walk that goes on at a checkpoint.
  static std::uint64_t BeginFor(const Checkpoint& checkpoint);
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
    TelemetryRecord before;  ///< only what `HasSameMaster` and `StepsBetween` look at
    bool any = false;
    bool hasEarlier = false;  ///< records that counted before the checkpoint
    std::int64_t stamp = 0;   ///< of `before`
    std::uint64_t place = 0;  ///< of `before`
    std::int32_t master = 0;
  };

  static constexpr std::int64_t near = 60;  ///< seconds; a stamp further from the one before needs company
  static constexpr std::int64_t pause = 3600;
  static constexpr std::size_t company = 64;     ///< units of about the same time
  static constexpr std::size_t lessCompany = 8;  ///< within `pause`, at the beginning and at the end
  static constexpr std::uint64_t unitsToRemember = 128;
  static constexpr std::int64_t longestStep = 60;  ///< seconds that a step of the card's counters may take

  void Resume(std::int64_t stamp);
  bool MayHaveCounted(const RawDataUnit& unit) const;
  void Remember(const RawDataUnit& unit, std::uint64_t place);
  void Offer(const RawDataUnit& unit, std::uint64_t place);
  void Hold(const RawDataUnit& unit, std::uint64_t place);
  std::size_t CompanyNeeded(std::int64_t stamp) const;
  void Release();
  void Accept(const RawDataUnit& unit, std::uint64_t place);
  CounterSteps StepsOf(const RawDataUnit& unit, std::uint64_t place) const;
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
  std::uint64_t wildStamps_ = 0;
  std::uint64_t implausible_ = 0;
  std::uint64_t outsideRange_ = 0;
  std::array<SfpState, sfpCount> sfps_;
};

}  // namespace kestrune::report
