#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "files/raw_data.h"
#include "report/recording.h"

namespace kestrune::report {

/// A quantity's value: its parts together, in nanoseconds (the summed squared deviation in their squares).
constexpr std::int64_t Nanoseconds(std::int32_t seconds, std::int32_t nanoseconds) {
  return std::int64_t{seconds} * 1'000'000'000 + nanoseconds;
}

/// The figures of a quantity in a record.
const QuantityFigures& FiguresOf(const TelemetryRecord& record, Quantity quantity);

/// The messages that weigh a quantity in a record; not positive when it has no figures.
std::int32_t CountOf(const TelemetryRecord& record, Quantity quantity);

/// Adds a record's figures of a quantity, if it has any.
void AddFigures(const TelemetryRecord& record, Quantity quantity, Stat& stat);

Master MasterOf(const TelemetryRecord& record);

/// Do two records of one SFP tell the same of their master? Quick, and false for some that do.
bool HasSameMaster(const TelemetryRecord& left, const TelemetryRecord& right);

/// Messages and packets between two records of one SFP, from the card's counters; a counter that fell or
/// leapt, as when the card began anew, gives 0.
struct CounterSteps {
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

/// Does an SFP in this PTP state have a master, so that messages are due: from uncalibrated on?
bool HasMaster(std::int32_t state);

/// The record's second, but for `start`; what comes from counters stands in `steps`.
void FillSecond(const TelemetryRecord& record, const CounterSteps& steps, Bucket& second);

/// Nothing is due while the event log says that the SFP has no link.
void ForgetDueWithoutLink(const EventLog& log, int sfp, Bucket& second);

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
