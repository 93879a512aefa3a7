#include "report/raw_data_pass.h"

#include <algorithm>
#include <cmath>

#include "report/bucket_series.h"
#include "report/unit_totals.h"

namespace kestrune::report {
namespace {

constexpr std::int32_t noTelemetry = 0;
constexpr std::int64_t suspiciousHole = 10;  // seconds

std::size_t Index(int sfp) { return static_cast<std::size_t>(sfp); }

void AddExtremes(Extremes& extremes, bool first, const Bucket& second) {
  if (first || second.offset.least < extremes.least) {
    extremes.least = second.offset.least;
    extremes.leastAt = second.start;
  }
  if (first || second.offset.greatest > extremes.greatest) {
    extremes.greatest = second.offset.greatest;
    extremes.greatestAt = second.start;
  }
}

}  // namespace

RawDataPass::RawDataPass(Recording& recording, const std::vector<SecondObserver*>& observers)
    : recording_(recording),
      observers_(observers),
      links_(recording.eventLog),
      starts_(recording.eventLog.starts) {
  recording_.masters.assign(1, Master{});
  std::ranges::sort(starts_);
}

void RawDataPass::OnSecond(int sfp, TimedRecord& record) {
  SfpRecording& all = recording_.sfp[Index(sfp)];
  links_.SettleDue(sfp, recording_.masters[Index(record.master)], record);
  const Bucket& second = record.second;
  FollowTime(sfp, record);
  all.state.Set(second.start, record.state);
  all.master.Set(second.start, record.master);
  if (second.syncs > 0) AddExtremes(all.offset, all.secondCount++ == 0, second);
  if (second.locked > 0) AddLocked(all, second);
  AddToSeries(sfp, second);
  DifferenceBucket difference;
  const std::uint64_t grandmaster = recording_.masters[Index(record.master)].grandmaster;
  if (pairs_.Add(sfp, second, grandmaster, difference)) {
    if (AppendToSeries(recording_.differences, difference, recording_.bucketWidth, mostBuckets)) Widen();
  }
  for (SecondObserver* observer : observers_) observer->OnSecond(sfp, second, record.state, record.master);
}

/// What is missing before a record, and where the clock went.
void RawDataPass::FollowTime(int sfp, const TimedRecord& record) {
  SfpRecording& all = recording_.sfp[Index(sfp)];
  SfpState& state = sfps_[Index(sfp)];
  const std::int64_t time = record.second.start;
  if (all.records++ == 0) {
    all.first = time;
  } else if (time == state.seen) {
    ++recording_.doubledSeconds;
  } else if (time > state.seen + 1) {
    all.state.Set(state.seen + 1, noTelemetry);
    all.master.Set(state.seen + 1, 0);
    CheckClock(sfp, record, time - state.seen - 1);
  } else if (time == state.seen + 1) {
    state.packetsASecond = record.packets - state.packets;
  }
  state.packets = record.packets;
  state.seen = time;
  all.first = std::min(all.first, time);
  all.end = std::max(all.end, time + 1);
  if (!recording_.checkpoints.empty()) {
    Checkpoint& checkpoint = recording_.checkpoints.back();
    checkpoint.from = std::min(checkpoint.from, time);
    checkpoint.to = std::max(checkpoint.to, time + 1);
  }
}

/// A hole in which the link's packets were too few for its length: the clock was set forward.
void RawDataPass::CheckClock(int sfp, const TimedRecord& record, std::int64_t hole) {
  const SfpState& state = sfps_[Index(sfp)];
  if (hole <= suspiciousHole || state.packetsASecond == 0 || record.packets <= state.packets) return;
  const auto passed = static_cast<std::int64_t>((record.packets - state.packets) / state.packetsASecond);
  if (passed < hole / 2 && passed <= hole - suspiciousHole)
    AddClockStep(leaps_, {state.seen, hole + 1 - std::max<std::int64_t>(passed, 1), record.place});
}

void RawDataPass::AddLocked(SfpRecording& all, const Bucket& second) {
  if (second.syncs > 0) {
    AddExtremes(all.offsetLocked, all.secondOffset.Count() == 0, second);
    all.secondOffset.Add(Rounded(second.offset.mean));
    all.worstOffset.Add(std::max(second.offset.greatest, -second.offset.least));
  }
  if (second.resps > 0) all.secondPath.Add(Rounded(second.path.mean));
}

void RawDataPass::AddToSeries(int sfp, const Bucket& second) {
  if (AppendToSeries(recording_.sfp[Index(sfp)].buckets, second, recording_.bucketWidth, mostBuckets))
    Widen();
}

/// Makes room in all series, by wider buckets if sorting isn't enough.
void RawDataPass::Widen() {
  const auto merge = [&] {
    std::size_t most = recording_.differences.size();
    for (SfpRecording& sfp : recording_.sfp) {
      MergeBuckets(sfp.buckets, recording_.bucketWidth);
      most = std::max(most, sfp.buckets.size());
    }
    MergeBuckets(recording_.differences, recording_.bucketWidth);
    return most;
  };
  while (merge() > mostBuckets / 2) recording_.bucketWidth = WiderBucket(recording_.bucketWidth);
}

void RawDataPass::OnCheckpoint(const Checkpoint& checkpoint) {
  if (checkpointsSeen_++ % checkpointStride_ != 0) return;
  if (recording_.checkpoints.size() == mostCheckpoints) HalveCheckpoints();
  recording_.checkpoints.push_back(checkpoint);
  recording_.checkpoints.back().from = INT64_MAX;
  recording_.checkpoints.back().to = INT64_MIN;
}

/// Every other one goes, and from now on fewer come.
void RawDataPass::HalveCheckpoints() {
  auto& all = recording_.checkpoints;
  for (std::size_t i = 0; i < all.size() / 2; ++i) {
    const Checkpoint& second = all[2 * i + 1];
    const std::int64_t from = std::min(all[2 * i].from, second.from);
    const std::int64_t to = std::max(all[2 * i].to, second.to);
    all[i] = all[2 * i];
    all[i].from = from;
    all[i].to = to;
  }
  all.resize(all.size() / 2);
  checkpointStride_ *= 2;
}

void RawDataPass::Finish() {
  for (SfpRecording& all : recording_.sfp) {
    if (all.records == 0) continue;
    MergeBuckets(all.buckets, recording_.bucketWidth);
    all.buckets.shrink_to_fit();
    all.state.Set(all.end, noTelemetry);
    all.master.Set(all.end, 0);
    const bool none = recording_.end == 0;
    recording_.first = none ? all.first : std::min(recording_.first, all.first);
    recording_.end = none ? all.end : std::max(recording_.end, all.end);
  }
  MergeBuckets(recording_.differences, recording_.bucketWidth);
  recording_.differences.shrink_to_fit();
  for (const DifferenceBucket& bucket : recording_.differences) recording_.difference.Merge(bucket);
  recording_.base = BucketStart(recording_.first, 3600);
  CountMessagesDue();
  FindGaps();
  IndexCheckpoints();
}

void RawDataPass::IndexCheckpoints() {
  auto& all = recording_.checkpoints;
  std::int64_t latest = INT64_MIN;
  for (Checkpoint& checkpoint : all) checkpoint.latest = latest = std::max(latest, checkpoint.to);
  std::int64_t earliest = INT64_MAX;
  for (std::size_t i = all.size(); i-- > 0;) all[i].earliest = earliest = std::min(earliest, all[i].from);
}

void RawDataPass::CountMessagesDue() {
  for (SfpRecording& sfp : recording_.sfp) {
    MessageCounts& counts = sfp.messages;
    for (const Bucket& bucket : sfp.buckets) {
      counts.syncs += bucket.syncs;
      counts.syncsDue += bucket.syncsDue;
      counts.resps += bucket.resps;
      counts.respsDue += bucket.respsDue;
      counts.followUps += bucket.followUps;
      counts.followUpsDue += bucket.followUpsDue;
      counts.announces += bucket.announces;
      counts.announcesDue += bucket.announcesDue / 16.0;
      counts.discarded += bucket.discarded;
      counts.linkErrors += bucket.linkErrors;
      counts.linkDrops += bucket.linkDrops;
    }
  }
}

/// Is the time without records that between two runs? What is missing at a run's end or begin isn't.
std::optional<Stretch> RawDataPass::PauseWithin(const Stretch& gap) const {
  constexpr std::int64_t near = 10;
  const auto behind = std::ranges::upper_bound(starts_, gap.to + startBeforeRecord);
  if (behind == starts_.begin() || *std::prev(behind) < gap.from) return std::nullopt;
  const std::int64_t start = *std::prev(behind);
  std::int64_t end = INT64_MAX;
  for (const std::int64_t time : recording_.eventLog.ends) {
    if (time >= gap.from && time <= start) end = std::min(end, time);
  }
  const bool endIsNear = end == INT64_MAX || end - gap.from <= near;
  return Stretch{endIsNear ? gap.from : end, gap.to - start <= near ? gap.to : start};
}

/// The seconds of a gap that the recorder's clock leapt over.
std::int64_t RawDataPass::LeaptOver(const Stretch& gap) {
  constexpr std::int64_t near = 5;
  const auto leap = std::ranges::find_if(leaps_, [&](const ClockStep& step) {
    return std::llabs(step.at + 1 - gap.from) <= near && step.by <= gap.to - gap.from + near;
  });
  if (leap == leaps_.end()) return 0;
  AddClockStep(recording_.clockSteps, *leap);
  return std::min(leap->by, gap.to - gap.from);
}

void RawDataPass::KeepGap(const Stretch& gap) {
  if (gap.to <= gap.from) return;
  ++recording_.gapCount;
  recording_.gapSeconds += static_cast<std::uint64_t>(gap.to - gap.from);
  if (recording_.gaps.size() < Recording::listLimit) recording_.gaps.push_back(gap);
}

void RawDataPass::AddGap(const Stretch& gap) {
  if (const auto pause = PauseWithin(gap)) {
    recording_.secondsLeftOut += pause->to - pause->from;
    if (recording_.pauses.size() < Recording::listLimit) recording_.pauses.push_back(*pause);
    KeepGap({gap.from, pause->from});
    KeepGap({pause->to, gap.to});
    return;
  }
  const std::int64_t leapt = LeaptOver(gap);
  recording_.secondsLeftOut += leapt;
  KeepGap({gap.from, gap.to - leapt});
}

/// The seconds in which neither SFP has telemetry.
void RawDataPass::FindGaps() {
  std::array<std::size_t, sfpCount> next{};
  std::array<bool, sfpCount> silent{true, true};
  std::int64_t from = 0;
  bool open = false;
  while (true) {
    std::int64_t time = INT64_MAX;
    for (std::size_t k = 0; k < sfpCount; ++k) {
      const auto& runs = recording_.sfp[k].state.All();
      if (next[k] < runs.size()) time = std::min<std::int64_t>(time, runs[next[k]].from);
    }
    if (time == INT64_MAX) break;
    for (std::size_t k = 0; k < sfpCount; ++k) {
      const auto& runs = recording_.sfp[k].state.All();
      while (next[k] < runs.size() && runs[next[k]].from == time)
        silent[k] = runs[next[k]++].value == noTelemetry;
    }
    const bool gap = silent[0] && silent[1];
    if (open && !gap) AddGap({from, time});
    if (gap && !open) from = time;
    open = gap;
  }
  std::ranges::stable_sort(recording_.clockSteps, {}, &ClockStep::place);
}

}  // namespace kestrune::report
