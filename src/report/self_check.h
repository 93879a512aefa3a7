#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "files/period_statistics.h"
#include "report/recording.h"

namespace kestrune::report {

/// Computes the recorder's period lines once more from the raw data. The line doesn't tell which record was
/// its last, so any record near its time may be; all 50 figures have to be those of the line.
class SelfCheck : public UnitObserver {
 public:
  /// What was found wrong.
  struct Difference {
    std::int64_t time = 0;  ///< of the line
    std::int32_t minutes = 0;
    int sfp = 0;
    std::string text;
  };
  /// Records for which a line is missing.
  struct Unsummed {
    int sfp = 0;
    Stretch stretch;
  };
  static constexpr std::size_t limit = 1000;

  /// Looks at the recording's period lines from the first unit on; the recording must outlive this.
  explicit SelfCheck(const Recording& recording) : recording_(&recording) {}

  Stretch Together(int sfp, std::int64_t stamp) const override;
  void OnUnits(int sfp, const UnitSums& sums) override;
  /// Judges the lines that no later record has closed, and spares those around steps of the recorder's clock;
  /// call it once, behind the last unit, when the recording is complete.
  void Finish();

  std::uint64_t Agreeing() const { return agreeing_; }
  std::uint64_t Differing() const { return differing_; }
  /// Lines that can't be compared: their period doesn't lie within what was read.
  std::uint64_t NotCompared() const { return notCompared_; }
  const std::vector<Difference>& Differences() const { return differences_; }  ///< at most `limit`
  const std::vector<Unsummed>& WithoutLine() const { return withoutLine_; }    ///< at most `limit`

 private:
  struct ExpectedLine {
    const PeriodLine* line = nullptr;
    std::int64_t notBefore =
        INT64_MIN;  ///< earlier records belong to another run, or to a line that is missing
    std::int64_t vagueUntil = INT64_MIN;  ///< from there up to here they may
    bool lineIsMissing = false;           ///< before this one, within the run
  };
  struct Sample {
    std::int64_t time = 0;
    PerformanceSample figures;
  };
  /// The lines of one SFP and one length, and what has been added for the next of them.
  struct Chain {
    std::vector<ExpectedLine> lines;
    std::size_t next = 0;
    std::int64_t vagueUntil = INT64_MIN;  ///< where the period before ended isn't known: up to here at most
    std::vector<Sample> vague;            ///< may belong to this period or to the one before
    PeriodAccumulator sums;               ///< since then
    PeriodAccumulator before;  ///< what the sums were before the first one that is near the line's time
    std::vector<Sample> near;  ///< those near it
    std::int64_t first = -1;   ///< stamp of the first record of these
    std::int64_t last = -1;
  };
  enum Length { quarter, day, lengths };
  struct Sfp {
    std::array<Chain, lengths> chains;
    std::int64_t plainUntil = INT64_MIN;  ///< stamps from `plainFrom` up to here are far from any end
    std::int64_t plainFrom = INT64_MAX;
  };

  void Expect();
  void FindPlain(Sfp& sfp, std::int64_t time) const;
  void OnSample(Chain& chain, std::int64_t time, const PerformanceSample& sample);
  void Leave(Chain& chain, std::int64_t time);
  static bool IsVague(const Chain& chain, std::int64_t time);
  static bool NeedsLine(const Chain& chain);
  static bool Agrees(const Chain& chain);
  bool IsWithinRange(const PeriodLine& line) const;
  void EndPeriod(Chain& chain, bool agrees);
  static PeriodResults Nearest(const Chain& chain);
  void Report(const Chain& chain);
  bool HasClockStep(const Stretch& stretch) const;
  void SpareClockSteps();
  void ReportWithoutLine(int sfp, std::int64_t from, std::int64_t to);

  const Recording* recording_;
  bool expecting_ = false;
  bool sawUnit_ = false;
  std::array<Sfp, sfpCount> sfps_;
  std::uint64_t agreeing_ = 0;
  std::uint64_t differing_ = 0;
  std::uint64_t notCompared_ = 0;
  std::vector<Difference> differences_;
  std::vector<Unsummed> withoutLine_;
};

}  // namespace kestrune::report
