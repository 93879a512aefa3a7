#pragma once

#include <array>
#include <cstdint>

#include "files/raw_data.h"
#include "report/excursions.h"
#include "report/recording.h"
#include "report/retimer.h"

namespace kestrune::report {

/// A quantity's value: its parts together, in nanoseconds (the summed squared deviation in their squares).
inline std::int64_t ToNanoseconds(const SecondsNanoseconds& value) {
  return value.seconds * nanosecondsPerSecond + value.nanoseconds;
}

Master MasterOf(const TelemetryRecord& record);

/// Do two records of one SFP tell the same of their master? Quick, and false for some that do.
bool HasSameMaster(const TelemetryRecord& left, const TelemetryRecord& right);

/// Messages and packets between two records of one SFP, from the card's counters; a counter that fell or
/// leapt, as when the card began anew, gives 0.
struct CounterSteps {
  bool known = false;           ///< else all are 0, and nothing is due by them
  std::uint32_t announces = 0;  ///< of the best master: the foreign ones are counted apart
  std::uint32_t announcesForeign = 0;
  std::uint32_t syncs = 0;
  std::uint32_t followUps = 0;
  std::uint32_t delayReqsSent = 0;
  std::uint32_t delayResps = 0;
  std::uint32_t discarded = 0;
  std::uint32_t linkErrors = 0;
  std::uint32_t linkDrops = 0;
};
CounterSteps StepsBetween(const TelemetryRecord& before, const TelemetryRecord& record);

/// A PTP state.
inline constexpr std::int32_t followerLocked = 10;

/// Does an SFP in this PTP state have a master, so that messages are due: from uncalibrated on?
bool HasMaster(std::int32_t state);

/// Does the SFP ask for the delay? A card that only listens never gets an answer.
bool AsksForDelay(const TelemetryRecord& record);

/// The record's second, but for `start`; what comes from counters stands in `steps`.
void FillSecond(const TelemetryRecord& record, const CounterSteps& steps, Bucket& second);

/// What is due in a second, beyond the record's own: of intervals longer than a second one message in every
/// so many; nothing while the event log says that the SFP has no link.
class LoggedLinks {
 public:
  /// `log` must outlive this and stay as it is.
  explicit LoggedLinks(const EventLog& log);
  /// `master` is the record's.
  void SettleDue(int sfp, const Master& master, TimedRecord& record);

 private:
  std::int32_t up_;
  std::array<RunCursor, sfpCount> links_;
};

/// Pairs the seconds of both SFPs and tells the difference of their average offsets.
class DifferencePairs {
 public:
  /// A second of one SFP; `grandmaster` 0 for none. True when its pair is complete and makes `difference`.
  bool Add(int sfp, const Bucket& second, std::uint64_t grandmaster, DifferenceBucket& difference);

 private:
  struct Second {
    std::int64_t time = 0;
    double average = 0;
    std::uint64_t grandmaster = 0;
    bool locked = false;
  };
  static constexpr std::size_t length = 512;  // so far the SFPs' records may be apart
  std::array<std::array<Second, length>, sfpCount> seconds_;
};

}  // namespace kestrune::report
