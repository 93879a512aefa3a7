#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <vector>

#include "report/record.h"
#include "report/recording.h"

namespace kestrune::report {

/// A start document may be so many seconds behind its run's first record.
inline constexpr std::int64_t startBeforeRecord = 2;

/// Adds a step unless it is there, as when the other SFP's records have told of it, or too many are.
void AddClockStep(std::vector<ClockStep>& steps, const ClockStep& step);

/// What the raw data's units add up to, whatever their seconds: messages, rates, intervals, masters, runs.
/// Fills a recording's members that no second is needed for, and no other ones.
class UnitTotals : public UnitObserver {
 public:
  /// The recording's event log is complete by now.
  explicit UnitTotals(Recording& recording);

  void OnUnit(const RawDataUnit& unit, const CounterSteps& steps, std::uint64_t place);
  /// The number of a master. One that is new is the last of `Masters` then, if there was room.
  std::int32_t NumberOf(const Master& master);
  const std::vector<Master>& Masters() const { return masters_; }

  Stretch Together(int /*sfp*/, std::int64_t /*stamp*/) const override { return {INT64_MIN, INT64_MAX}; }
  void OnUnits(int sfp, const UnitSums& sums) override;
  /// Behind the last unit.
  void Finish();

 private:
  struct Sfp {
    MessageCounts messages;
    Runs linkSpeed;
    std::int64_t stamp = std::numeric_limits<std::int64_t>::min();
    std::uint64_t stamps = 0;  ///< that differ from the one before
    std::uint64_t records = 0;
  };

  static constexpr int logIntervals = 16;

  void FollowRuns(const RawDataUnit& unit, std::uint64_t place);

  Recording& recording_;
  std::array<Sfp, sfpCount> sfps_;
  std::vector<Master> masters_{Master{}};
  MasterFinder finder_{masters_};
  std::int64_t lastStamp_ = std::numeric_limits<std::int64_t>::min();
  std::vector<std::int64_t> starts_;  ///< of runs, by the event log, rising
  std::size_t nextStart_ = 0;
  std::array<std::uint64_t, logIntervals> syncIntervals_{};
  std::array<std::uint64_t, logIntervals> respIntervals_{};
};

}  // namespace kestrune::report
