#include "report/watch.h"

#include <algorithm>
#include <cmath>

#include "report/record.h"

namespace kestrune::report {
namespace {

/// Seconds of one SFP that wait for the other's.
constexpr std::size_t longestWait = 120;
/// A run that isn't locked by then, in seconds, isn't starting up any more.
constexpr std::int64_t longestStartUp = 600;
/// The start document and the first record of a run may be so many seconds apart.
constexpr std::int64_t sameStart = 30;
/// Without a record of either SFP for longer, a run that the log says nothing of begins anew.
constexpr std::int64_t longestSilence = 60;

double LeastLimit(const Limit& limit) { return limit.warn.value_or(limit.fail.value_or(INFINITY)); }

}  // namespace

Watch::Watch(const Recording& recording, const Limits& limits, WatchListener* listener)
    : recording_(&recording),
      listener_(listener),
      offsetLimit_(LeastLimit(limits[Rule::Offset])),
      difference_(LeastLimit(limits[Rule::Difference])) {}

void Watch::Resume(const WatchMemory& memory) {
  startUps_ = {memory.startUp};
  followedGrandmaster_ = memory.followedGrandmaster;
  for (std::size_t sfp = 0; sfp < sfpCount; ++sfp) {
    sfps_[sfp].newest = memory.last[sfp];
    sfps_[sfp].master = memory.servedBy[sfp];
    sfps_[sfp].relocks.Resume(memory.relocks[sfp], std::max<std::int64_t>(memory.last[sfp], 0));
  }
  const std::vector<std::int64_t>& starts = recording_->eventLog.starts;
  const std::int64_t seen = std::max(memory.last[0], memory.last[1]);
  last_ = seen;
  while (nextStart_ < starts.size() && starts[nextStart_] <= seen) ++nextStart_;
}

WatchMemory Watch::Memory() const {
  WatchMemory memory;
  if (!startUps_.empty()) memory.startUp = startUps_.back();
  memory.followedGrandmaster = followedGrandmaster_;
  for (std::size_t sfp = 0; sfp < sfpCount; ++sfp) {
    memory.last[sfp] = sfps_[sfp].newest;
    memory.servedBy[sfp] = sfps_[sfp].master;
    memory.relocks[sfp] = sfps_[sfp].relocks.Memory();
  }
  return memory;
}

void Watch::OnSecond(int sfp, const Bucket& second, std::int32_t state, std::int32_t master) {
  auto& waiting = PerSfp(sfp).waiting;
  const bool setBack = second.start < PerSfp(sfp).newest;
  while (setBack && !waiting.empty()) EmitOldest();
  PerSfp(sfp).newest = second.start;
  Sample& sample = waiting.emplace_back();
  sample.time = second.start;
  sample.offset = second.offset.mean;
  sample.path = second.path.mean;
  sample.messages = MessagesOf(second);
  sample.syncs = second.syncs;
  sample.resps = second.resps;
  sample.master = master;
  sample.grandmaster = recording_->masters[static_cast<std::size_t>(master)].grandmaster;
  sample.served = HasMaster(state);
  sample.locked = second.records > 0 && second.locked == second.records;
  if (waiting.size() > 1 && waiting.before_back().time == second.start) {
    Merge(sample, waiting.before_back());
    waiting.pop_back();
    return;
  }
  // The last one may get a second record.
  const auto both = [&] { return sfps_[0].waiting.size() > 1 && sfps_[1].waiting.size() > 1; };
  while (both() || waiting.size() > longestWait) EmitOldest();
}

/// Of two records of one second, the worse one is judged.
void Watch::Merge(const Sample& added, Sample& sample) {
  if (added.syncs > 0 && (sample.syncs == 0 || std::fabs(added.offset) > std::fabs(sample.offset))) {
    sample.offset = added.offset;
  }
  if (sample.resps == 0) sample.path = added.path;
  sample.messages.Add(added.messages);
  sample.syncs += added.syncs;
  sample.resps += added.resps;
  sample.master = added.master;
  sample.grandmaster = added.grandmaster;
  sample.locked &= added.locked;
}

void Watch::EmitOldest() {
  std::int64_t time = INT64_MAX;
  for (const Sfp& sfp : sfps_) {
    if (!sfp.waiting.empty()) time = std::min(time, sfp.waiting.front().time);
  }
  Pair pair{};
  for (std::size_t sfp = 0; sfp < sfpCount; ++sfp) {
    const auto& waiting = sfps_[sfp].waiting;
    if (!waiting.empty() && waiting.front().time == time) pair[sfp] = &waiting.front();
  }
  OnPair(time, pair);
  for (std::size_t sfp = 0; sfp < sfpCount; ++sfp) {
    if (pair[sfp] != nullptr) sfps_[sfp].waiting.pop_front();
  }
}

void Watch::Settle() {
  while (IsWaiting()) EmitOldest();
}

void Watch::Finish() {
  Settle();
  for (Sfp& sfp : sfps_) {
    sfp.relocks.EndRun();
    sfp.losses.Finish();
    sfp.pathDelays.Finish();
  }
  difference_.Finish();
  log_.reset();
}

void Watch::OnPair(std::int64_t time, const Pair& pair) {
  if (!log_) log_.emplace(recording_->eventLog);
  BeginRuns(time);
  now_ = {};
  now_.time = time;
  now_.sfp = pair;
  DayFigures& day = days_[DayOf(time)];
  ++day.observed;
  ++observed_;
  for (int sfp = 0; sfp < sfpCount; ++sfp) {
    const Sample* sample = pair[static_cast<std::size_t>(sfp)];
    if (sample != nullptr) WatchSfp(time, sfp, *sample, day);
  }
  WatchCard(time, pair, day);
  WatchRedundancy(time, pair);
  WatchFollowed(time, pair, day);
  WatchDifference(time, pair);
  if (listener_ != nullptr) listener_->OnWatched(now_);
}

void Watch::BeginRuns(std::int64_t time) {
  // The start document stands behind the first documents, so the first record may have its second.
  const std::vector<std::int64_t>& starts = recording_->eventLog.starts;
  const bool unloggedPause = nextStart_ == 0 && time - last_ > longestSilence;
  last_ = time;
  bool begins = startUps_.empty() || unloggedPause;
  while (nextStart_ < starts.size() && starts[nextStart_] <= time) {
    ++nextStart_;
    begins = true;
  }
  if (!begins || (!startUps_.empty() && time - startUps_.back().from <= sameStart)) return;
  for (Sfp& sfp : sfps_) {
    sfp.relocks.EndRun();
    sfp.master = 0;
  }
  startUps_.push_back({});
  startUps_.back().from = time;
}

bool Watch::StartingUp(std::int64_t time, std::int64_t lockedAfter) const {
  return lockedAfter < 0 && time - startUps_.back().from < longestStartUp;
}

void Watch::WatchSfp(std::int64_t time, int sfp, const Sample& sample, DayFigures& day) {
  const auto index = static_cast<std::size_t>(sfp);
  Sfp& watched = sfps_[index];
  ++day.records[index];
  StartUp& start = startUps_.back();
  if (sample.locked) {
    ++day.locked[index];
    if (start.sfp[index] < 0) start.sfp[index] = time - start.from;
    const Master& master = recording_->masters[static_cast<std::size_t>(sample.master)];
    if (sample.resps > 0) watched.pathDelays.Add(time, sample.path, master.logDelayReqInterval);
  }
  const std::uint64_t relocked = watched.relocks.Relocked();
  watched.relocks.Add({time, sample.locked, log_->LinkUp(sfp, time), sample.master, sample.grandmaster,
                       sample.syncs, sample.offset});
  now_.relocked[index] = watched.relocks.Relocked() != relocked;
  if (log_->LinkSettled(sfp, time)) WatchMessages(time, sfp, sample, day);
}

/// A master that was just found has not sent a whole second's messages.
void Watch::WatchMessages(std::int64_t time, int sfp, const Sample& sample, DayFigures& day) {
  const auto index = static_cast<std::size_t>(sfp);
  Sfp& watched = sfps_[index];
  const std::uint64_t master = sample.served ? sample.grandmaster : 0;
  const bool isNew = master != watched.master;
  watched.master = master;
  if (isNew || StartingUp(time, startUps_.back().sfp[index])) return;
  now_.messagesJudged[index] = true;
  watched.losses.Add(time, sample.messages);
  day.syncs.due += sample.messages.due[syncMessage];
  day.syncs.got += sample.messages.got[syncMessage];
}

bool Watch::CardLocked(std::int64_t time, const Pair& pair) {
  if (log_->KnowsCard(time)) return log_->CardLocked(time);
  return std::ranges::any_of(pair, [](const Sample* sample) { return sample != nullptr && sample->locked; });
}

bool Watch::CardSettled(std::int64_t time, const Pair& pair) {
  return log_->KnowsCard(time) ? log_->CardSettled(time) : CardLocked(time, pair);
}

int Watch::FollowedSfp(std::int64_t time, const Pair& pair) {
  const int followed = log_->FollowedSfp(time);
  if (followed >= 0) return followed;
  return pair[0] != nullptr && pair[0]->locked ? 0 : 1;
}

void Watch::WatchCard(std::int64_t time, const Pair& pair, DayFigures& day) {
  StartUp& start = startUps_.back();
  now_.cardLocked = CardLocked(time, pair);
  if (now_.cardLocked) {
    if (start.card < 0) start.card = time - start.from;
  } else if (!StartingUp(time, start.card)) {
    now_.cardUnlocked = true;
    ++day.cardUnlocked;
    cardUnlocked_.Add(time, 1, 1);
  }
}

void Watch::WatchRedundancy(std::int64_t time, const Pair& pair) {
  const StartUp& start = startUps_.back();
  double without = 0;  // 1: SFP A, 2: SFP B, 3: both
  for (std::size_t sfp = 0; sfp < sfpCount; ++sfp) {
    Sfp& watched = sfps_[sfp];
    watched.silent = pair[sfp] == nullptr ? watched.silent + 1 : 0;
    const bool startingUp = StartingUp(time, start.sfp[sfp]);
    if (watched.silent == 0 || startingUp) watched.uncounted.clear();
    if (startingUp) continue;
    const bool absent = watched.silent > shortestAbsence;
    const bool unlocked = pair[sfp] != nullptr && !pair[sfp]->locked;
    if (absent || unlocked) without += sfp == 0 ? 1 : 2;
    if (!absent) continue;
    for (const std::int64_t before : watched.uncounted) CountNotRedundant(before, sfp == 0 ? 1 : 2);
    watched.uncounted.clear();
  }
  if (without > 0) return CountNotRedundant(time, without);
  for (Sfp& watched : sfps_) {
    if (watched.silent > 0 && watched.silent <= shortestAbsence) watched.uncounted.push_back(time);
  }
}

void Watch::CountNotRedundant(std::int64_t time, double without) {
  ++days_[DayOf(time)].notRedundant;
  notRedundant_.Add(time, 1, without);
}

void Watch::WatchFollowed(std::int64_t time, const Pair& pair, DayFigures& day) {
  const int followed = now_.followed = FollowedSfp(time, pair);
  const Sample* sample = pair[static_cast<std::size_t>(followed)];
  if (sample == nullptr || !sample->locked) return;
  const std::uint64_t grandmaster = sample->grandmaster;
  if (followedGrandmaster_ != 0 && grandmaster != 0 && grandmaster != followedGrandmaster_) {
    now_.grandmasterChanged = true;
    ++day.grandmasterChanges;
  }
  if (grandmaster != 0) followedGrandmaster_ = grandmaster;
  if (sample->syncs == 0 || !CardSettled(time, pair)) return;
  const double offset = sample->offset;
  now_.judgedOffset = offset;
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
  const std::uint64_t grandmaster = pair[0]->grandmaster;
  if (grandmaster == 0 || grandmaster != pair[1]->grandmaster) return;
  now_.difference = pair[0]->offset - pair[1]->offset;
  difference_.Add(time, *now_.difference, pair[0]->locked && pair[1]->locked);
}

}  // namespace kestrune::report
