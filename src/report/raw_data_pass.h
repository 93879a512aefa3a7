#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

#include "report/record.h"
#include "report/recording.h"
#include "report/seconds_walk.h"

namespace kestrune::report {

/// Fills a recording with what the raw data's seconds say, while it is walked through.
class RawDataPass : public SecondsWalk::Listener {
 public:
  RawDataPass(Recording& recording, const std::vector<SecondObserver*>& observers);

  /// A master that wasn't among the recording's before.
  void OnMaster(const Master& master) { recording_.masters.push_back(master); }
  void OnSecond(int sfp, TimedRecord& record) override;
  void OnCheckpoint(const Checkpoint& checkpoint) override;

  /// Behind the last second.
  void Finish();

 private:
  struct SfpState {
    std::int64_t seen = INT64_MIN;  ///< last second
    std::uint64_t packets = 0;
    std::uint64_t packetsASecond = 0;
  };

  static constexpr std::size_t mostBuckets = 49'152;
  static constexpr std::size_t mostCheckpoints = 65'536;

  void HalveCheckpoints();
  void FollowTime(int sfp, const TimedRecord& record);
  void CheckClock(int sfp, const TimedRecord& record, std::int64_t hole);
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
  const std::vector<SecondObserver*>& observers_;
  std::array<SfpState, sfpCount> sfps_;
  std::uint64_t checkpointsSeen_ = 0;
  std::uint64_t checkpointStride_ = 1;
  LoggedLinks links_;
  DifferencePairs pairs_;
  std::vector<ClockStep> leaps_;      ///< forward, as one SFP's records tell
  std::vector<std::int64_t> starts_;  ///< of runs, by the event log, rising
};

}  // namespace kestrune::report
