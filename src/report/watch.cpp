#include "report/watch.h"

#include <algorithm>
#include <cmath>

namespace kestrune::report {
namespace {

/// A run that isn't locked by then, in seconds, isn't starting up any more.
constexpr std::int64_t longestStartUp = 600;
/// The start document and the first record of a run may be so many seconds apart.
constexpr std::int64_t sameStart = 30;
/// Records come in batches: an SFP without one for so many seconds isn't absent yet.
constexpr std::int64_t shortestAbsence = 3;

double LeastLimit(const Limit& limit) { return limit.warn.value_or(limit.fail.value_or(INFINITY)); }

}  // namespace

Watch::Watch(const Recording& recording, const Limits& limits)
    : recording_(&recording),
      offsetLimit_(LeastLimit(limits[Rule::Offset])),
      difference_(LeastLimit(limits[Rule::Difference])) {}

std::uint64_t Watch::Grandmaster(const Sample& sample) const {
  return recording_->masters[static_cast<std::size_t>(sample.master)].grandmaster;
}

void Watch::OnSecond(int sfp, const Bucket& second, std::int32_t /*state*/, std::int32_t master) {
  if (second.start == PerSfp(sfp).newest) return;  // had one already
  const bool setBack = second.start < PerSfp(sfp).newest;
  Queue& waiting = PerSfp(sfp).waiting;
  while (waiting.Full() || (setBack && !waiting.Empty())) EmitOldest();
  PerSfp(sfp).newest = second.start;
  waiting.Push({second.start, second.offset.mean, second.path.mean, MessagesOf(second), second.syncs,
                second.resps, master, second.records > 0 && second.locked == second.records});
  while (!sfps_[0].waiting.Empty() && !sfps_[1].waiting.Empty()) EmitOldest();
}

void Watch::EmitOldest() {
  std::int64_t time = INT64_MAX;
  for (const Sfp& sfp : sfps_) {
    if (!sfp.waiting.Empty()) time = std::min(time, sfp.waiting.Front().time);
  }
  Pair pair{};
  for (std::size_t sfp = 0; sfp < sfpCount; ++sfp) {
    const Queue& waiting = sfps_[sfp].waiting;
    if (!waiting.Empty() && waiting.Front().time == time) pair[sfp] = &waiting.Front();
  }
  OnPair(time, pair);
  for (std::size_t sfp = 0; sfp < sfpCount; ++sfp) {
    if (pair[sfp] != nullptr) sfps_[sfp].waiting.Pop();
  }
}

void Watch::Finish() {
  while (IsWaiting()) EmitOldest();
  for (Sfp& sfp : sfps_) {
    sfp.relocks.EndRun();
    sfp.losses.Finish();
    for (const auto& [day, messages] : sfp.losses.Days()) Add(days_[day].messages, messages);
    sfp.pathDelays.Finish();
  }
  difference_.Finish();
}

void Watch::OnPair(std::int64_t time, const Pair& pair) {
  if (!log_) log_.emplace(recording_->eventLog);
  BeginRuns(time);
  DayFigures& day = days_[DayOf(time)];
  ++day.observed;
  ++observed_;
  for (int sfp = 0; sfp < sfpCount; ++sfp) {
    const Sample* sample = pair[static_cast<std::size_t>(sfp)];
    if (sample != nullptr) WatchSfp(time, sfp, *sample, day);
  }
  WatchCard(time, pair, day);
  WatchRedundancy(time, pair, day);
  WatchFollowed(time, pair, day);
  WatchDifference(time, pair);
}

void Watch::BeginRuns(std::int64_t time) {
  // The start document stands behind the first documents, so the first record may have its second.
  const std::vector<std::int64_t>& starts = recording_->eventLog.starts;
  bool begins = startUps_.empty();
  while (nextStart_ < starts.size() && starts[nextStart_] <= time) {
    ++nextStart_;
    begins = true;
  }
  if (!begins || (!startUps_.empty() && time - startUps_.back().from <= sameStart)) return;
  for (Sfp& sfp : sfps_) sfp.relocks.EndRun();
  startUps_.push_back({});
  startUps_.back().from = time;
}

bool Watch::StartingUp(std::int64_t time, std::int64_t lockedAfter) const {
  return lockedAfter < 0 && time - startUps_.back().from < longestStartUp;
}

void Watch::WatchSfp(std::int64_t time, int sfp, const Sample& sample, DayFigures& day) {
  const auto index = static_cast<std::size_t>(sfp);
  Sfp& watched = sfps_[index];
  watched.last = time;
  ++day.records[index];
  StartUp& start = startUps_.back();
  if (sample.locked) {
    ++day.locked[index];
    if (start.sfp[index] < 0) start.sfp[index] = time - start.from;
    if (sample.resps > 0) watched.pathDelays.Add(time, sample.path);
  }
  const bool linkUp = log_->LinkUp(sfp, time);
  watched.relocks.Add(
      {time, sample.locked, linkUp, sample.master, Grandmaster(sample), sample.syncs, sample.offset});
  if (!linkUp) return;
  watched.losses.Add(time, sample.messages);
}

bool Watch::CardLocked(std::int64_t time, const Pair& pair) {
  if (log_->KnowsCard()) return log_->CardLocked(time);
  return std::ranges::any_of(pair, [](const Sample* sample) { return sample != nullptr && sample->locked; });
}

bool Watch::CardSettled(std::int64_t time, const Pair& pair) {
  return log_->KnowsCard() ? log_->CardSettled(time) : CardLocked(time, pair);
}

int Watch::FollowedSfp(std::int64_t time, const Pair& pair) {
  const int followed = log_->FollowedSfp(time);
  if (followed >= 0) return followed;
  return pair[0] != nullptr && pair[0]->locked ? 0 : 1;
}

void Watch::WatchCard(std::int64_t time, const Pair& pair, DayFigures& day) {
  StartUp& start = startUps_.back();
  if (CardLocked(time, pair)) {
    if (start.card < 0) start.card = time - start.from;
  } else if (!StartingUp(time, start.card)) {
    ++day.cardUnlocked;
    cardUnlocked_.Add(time, 1, 1);
  }
}

void Watch::WatchRedundancy(std::int64_t time, const Pair& pair, DayFigures& day) {
  const StartUp& start = startUps_.back();
  double without = 0;  // 1: SFP A, 2: SFP B, 3: both
  for (std::size_t sfp = 0; sfp < sfpCount; ++sfp) {
    const bool absent = pair[sfp] == nullptr && sfps_[sfp].last < time - shortestAbsence;
    const bool unlocked = pair[sfp] != nullptr && !pair[sfp]->locked;
    if ((absent || unlocked) && !StartingUp(time, start.sfp[sfp])) without += sfp == 0 ? 1 : 2;
  }
  if (without == 0) return;
  ++day.notRedundant;
  notRedundant_.Add(time, 1, without);
}

void Watch::WatchFollowed(std::int64_t time, const Pair& pair, DayFigures& day) {
  const int followed = FollowedSfp(time, pair);
  const Sample* sample = pair[static_cast<std::size_t>(followed)];
  if (sample == nullptr || !sample->locked) return;
  const std::uint64_t grandmaster = Grandmaster(*sample);
  if (followedGrandmaster_ != 0 && grandmaster != 0 && grandmaster != followedGrandmaster_) {
    ++day.grandmasterChanges;
  }
  if (grandmaster != 0) followedGrandmaster_ = grandmaster;
  if (sample->syncs == 0 || !CardSettled(time, pair)) return;
  const double offset = sample->offset;
  ++judged_;
  ++day.judged;
  if (day.judged == 1 || std::fabs(offset) > std::fabs(day.worstOffset)) {
    day.worstOffset = offset;
    day.worstOffsetAt = time;
    day.worstOffsetSfp = followed;
  }
  if (std::fabs(offset) > offsetLimit_) PerSfp(followed).offsets.Add(time, 1, offset);
}

void Watch::WatchDifference(std::int64_t time, const Pair& pair) {
  if (pair[0] == nullptr || pair[1] == nullptr || !CardSettled(time, pair)) return;
  if (pair[0]->syncs == 0 || pair[1]->syncs == 0) return;
  const std::uint64_t grandmaster = Grandmaster(*pair[0]);
  if (grandmaster == 0 || grandmaster != Grandmaster(*pair[1])) return;
  difference_.Add(time, pair[0]->offset - pair[1]->offset, pair[0]->locked && pair[1]->locked);
}

}  // namespace kestrune::report
