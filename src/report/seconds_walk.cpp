#include "report/seconds_walk.h"

#include <algorithm>

namespace kestrune::report {

void SecondsWalk::Restart(const Checkpoint& checkpoint) {
  for (int sfp = 0; sfp < sfpCount; ++sfp) {
    RetimerOf(sfp).Restart(checkpoint.last[static_cast<std::size_t>(sfp)]);
  }
  sinceCheckpoint_ = 0;
}

void SecondsWalk::Commit(int sfp) {
  Retimer& retimer = RetimerOf(sfp);
  const std::int64_t stamp = retimer.Slot().second.start;
  if (sinceCheckpoint_ >= recordsPerCheckpoint && stamp != stamp_ && MayStop()) {
    MakeCheckpoint(retimer.Slot().place, stamp);  // which leaves the slot where it is
  }
  ++sinceCheckpoint_;
  stamp_ = stamp;
  retimer.Commit(stamp, [&](TimedRecord& settled) { listener_.OnSecond(sfp, settled); });
  // One that has fallen silent keeps nothing back for which the other's seconds would have to wait.
  const int other = 1 - sfp;
  RetimerOf(other).LetGo(stamp - longestKept,
                         [&](TimedRecord& settled) { listener_.OnSecond(other, settled); });
}

/// Is this a good place for a checkpoint, which settles all seconds? Not for ever is there a better one to
/// wait for.
bool SecondsWalk::MayStop() const {
  return sinceCheckpoint_ >= recordsAtMost || std::ranges::all_of(retimers_, &Retimer::IsEven);
}

void SecondsWalk::MakeCheckpoint(std::uint64_t place, std::int64_t stamp) {
  Finish();
  Checkpoint checkpoint;
  checkpoint.place = place;
  checkpoint.stamp = stamp;
  for (std::size_t k = 0; k < sfpCount; ++k) checkpoint.last[k] = retimers_[k].Last();
  listener_.OnCheckpoint(checkpoint);
  sinceCheckpoint_ = 0;
}

void SecondsWalk::Finish() {
  for (int sfp = 0; sfp < sfpCount; ++sfp)
    RetimerOf(sfp).Flush([&](TimedRecord& record) { listener_.OnSecond(sfp, record); });
}

}  // namespace kestrune::report
