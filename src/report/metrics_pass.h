#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <optional>

#include "platform/input_file.h"
#include "report/limits.h"
#include "report/metrics_state.h"
#include "report/record_walk.h"
#include "report/recording.h"
#include "report/seconds_walk.h"
#include "report/watch.h"

namespace kestrune::report {

/// One SFP as the metrics show it; what isn't known is left out. Offsets and delays in ns, of the locked
/// seconds of the last minute.
struct SfpFigures {
  std::optional<bool> locked;
  std::optional<Master> master;
  std::optional<double> offsetMean;    ///< of all messages
  std::optional<double> offsetAbsMax;  ///< the second's average farthest from 0
  std::optional<double> pathDelay;     ///< average of all messages
};

struct MetricsFigures {
  std::int64_t newest = 0;  ///< second of the last record; 0: there is none
  bool cardLocked = false;
  int followed = 0;
  std::array<SfpFigures, sfpCount> sfp;
  std::optional<double> difference;  ///< of the SFPs' offsets, A - B, average of the last minute
  MetricsSums sums;
};

/// Reads raw data from a mark to its end, by the rules of the report, and finds a new mark near the end.
class MetricsPass : public RecordWalk::Listener, public SecondsWalk::Listener, public WatchListener {
 public:
  MetricsPass(const MetricsMark& from, EventLog log, const Limits& limits);

  /// Reads `file` up to its present end; call it once.
  void Read(const InputFile& file);
  MetricsFigures Figures() const;
  /// A mark from which a later pass sees the last minute of this one again.
  const MetricsMark& Mark() const;

  std::int32_t OnMaster(const Master& master) override;
  TimedRecord& Slot(int sfp) override { return walk_.Slot(sfp); }
  void OnRecord(const RawDataUnit& unit, const CounterSteps& steps) override;
  void OnSecond(int sfp, TimedRecord& record) override;
  void OnCheckpoint(const Checkpoint& checkpoint) override;
  void OnWatched(const WatchedSecond& second) override;

 private:
  struct Moment {
    std::int64_t time = 0;
    std::array<std::optional<WatchedSample>, sfpCount> sfp;
    std::optional<double> difference;
  };

  SfpFigures FiguresOf(std::size_t sfp) const;
  void CountOffset(double offset);

  Limits limits_;
  Recording recording_;  ///< its event log and masters only
  MasterFinder finder_{recording_.masters};
  MetricsMark from_;
  std::deque<MetricsMark> marks_;  ///< the last two
  std::deque<Moment> lately_;      ///< the last minute
  std::array<std::optional<WatchedSample>, sfpCount> latest_;
  std::int64_t newest_ = 0;
  bool cardLocked_ = false;
  int followed_ = 0;
  MetricsSums sums_;
  std::optional<LoggedLinks> links_;  ///< of the recording's event log
  Watch watch_;
  SecondsWalk walk_{*this};
};

}  // namespace kestrune::report
