#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "report/record.h"
#include "report/record_walk.h"
#include "report/recording.h"

namespace kestrune::report {

/// Fills a recording with what the raw data says, while it is walked through.
class RawDataPass : public RecordWalk::Listener {
 public:
  RawDataPass(Recording& recording, const std::vector<RecordObserver*>& observers);

  void OnUnit(const RawDataUnit& unit, const CounterSteps& steps, std::uint64_t place) override;
  std::int32_t OnMaster(const Master& master) override;
  void OnSecond(int sfp, TimedRecord& record) override;
  void OnCheckpoint(std::uint64_t place, std::int64_t stamp,
                    const std::array<std::int64_t, sfpCount>& last) override;

  /// Behind the last second.
  void Finish();

 private:
  struct Rate {
    double sum = 0;
    std::int64_t least = INT64_MAX;
    std::int64_t greatest = INT64_MIN;

    void Add(std::uint64_t value) {
      const auto rate = static_cast<std::int64_t>(std::min<std::uint64_t>(value, INT64_MAX));
      sum += static_cast<double>(rate);
      least = std::min(least, rate);
      greatest = std::max(greatest, rate);
    }
  };
  /// What all records of a bucket's time add up to, apart by lock; merged into the whole now and then, which
  /// is quicker than adding each record twice.
  struct Lately {
    std::array<FigureTotals, 2> byLock;
    std::array<Rate, 2> rates;
    std::uint32_t records = 0;
  };
  struct SfpState {
    Lately lately;
    std::int64_t seen = INT64_MIN;  ///< last second
    std::uint64_t packets = 0;
    std::uint64_t packetsASecond = 0;
    std::int64_t stamp = INT64_MIN;
    std::uint64_t stamps = 0;  ///< that differ from the one before
  };

  static constexpr std::size_t mostBuckets = 65'536;
  static constexpr std::size_t mostClockSteps = 1000;
  static constexpr int logIntervals = 16;

  void MergeLately(int sfp);
  void CountMessages(int sfp, const CounterSteps& steps);
  void FollowRuns(const RawDataUnit& unit, std::uint64_t place);
  void FollowTime(int sfp, const TimedRecord& record);
  void CheckClock(int sfp, const TimedRecord& record, std::int64_t hole);
  void AddClockStep(std::int64_t at, std::int64_t by);
  void AddLocked(SfpRecording& all, const Bucket& second);
  void AddToSeries(int sfp, const Bucket& second);
  void Widen();
  void FindGaps();
  void AddGap(const Stretch& gap);
  void KeepGap(const Stretch& gap);
  std::optional<Stretch> PauseWithin(const Stretch& gap) const;
  std::int64_t LeaptOver(const Stretch& gap);
  void IndexCheckpoints();
  void CountMessagesDue();

  Recording& recording_;
  const std::vector<RecordObserver*>& observers_;
  std::array<SfpState, sfpCount> sfps_;
  LoggedLinks links_;
  DifferencePairs pairs_;
  std::int64_t lastStamp_ = INT64_MIN;
  std::uint64_t place_ = 0;
  std::vector<ClockStep> leaps_;      ///< forward, as one SFP's records tell
  std::vector<std::int64_t> starts_;  ///< of runs, by the event log, rising
  std::size_t nextStart_ = 0;
  std::array<std::uint64_t, logIntervals> syncIntervals_{};
  std::array<std::uint64_t, logIntervals> respIntervals_{};
};

}  // namespace kestrune::report
