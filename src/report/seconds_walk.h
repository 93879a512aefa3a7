#pragma once

#include <array>
#include <cstdint>

#include "report/recording.h"
#include "report/retimer.h"

namespace kestrune::report {

/// From records in the order of the file to their seconds, and to places where a later walk may begin. A walk
/// that begins at a checkpoint sees what the first one saw.
class SecondsWalk {
 public:
  class Listener {
   public:
    virtual ~Listener() = default;
    /// `record` may be changed.
    virtual void OnSecond(int sfp, TimedRecord& record) = 0;
    /// No record is held back; a later walk may begin here. The times of what follows aren't known yet.
    virtual void OnCheckpoint(const Checkpoint& /*checkpoint*/) {}
  };

  /// No second before `first` is found.
  explicit SecondsWalk(Listener& listener, std::int64_t first = Retimer::noTime)
      : listener_(listener), retimers_{Retimer(first), Retimer(first)} {}
  /// Goes on at a checkpoint, as the first walk did. Before the first record.
  void Restart(const Checkpoint& checkpoint);

  /// The record to be filled in and then given to `Commit`.
  TimedRecord& Slot(int sfp) { return RetimerOf(sfp).Slot(); }
  /// Takes the record in the SFP's slot.
  void Commit(int sfp);
  /// Behind the last record.
  void Finish();

 private:
  static constexpr std::int64_t longestKept =
      90;  ///< seconds that an SFP's records may wait behind the other's
  static constexpr std::uint64_t recordsPerCheckpoint = 128;
  static constexpr std::uint64_t recordsAtMost = 2048;  ///< from one checkpoint to the next

  Retimer& RetimerOf(int sfp) { return retimers_[static_cast<std::size_t>(sfp)]; }
  bool MayStop() const;
  void MakeCheckpoint(std::uint64_t place, std::int64_t stamp);

  Listener& listener_;
  std::array<Retimer, sfpCount> retimers_;
  std::int64_t stamp_ = 0;  ///< of the last record
  std::uint64_t sinceCheckpoint_ = recordsPerCheckpoint;
};

}  // namespace kestrune::report
