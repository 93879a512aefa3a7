#include "report/relocks.h"

#include <algorithm>
#include <cmath>

namespace kestrune::report {

void RelockTracker::Add(const LockSecond& second) {
  const bool behindHole = second.time - last_ > longestHole;
  last_ = second.time;
  const bool locked = second.locked && second.grandmaster != 0;
  if (!hasLocked_ && !locked) return;
  if (hasLocked_ && !lost_ && (!locked || second.grandmaster != lockedGrandmaster_)) Lose(second);
  if (lost_ && behindHole) {
    unseen_ = true;
    ForgetMessages();
  }
  if (lost_) SearchMaster(second);
  if (!locked) return;
  if (lost_) Finish(second);
  hasLocked_ = true;
  lockedMaster_ = second.master;
  lockedGrandmaster_ = second.grandmaster;
  if (second.syncs > 0) {
    lastMessage_ = second.time;
    lastOffset_ = second.offset;
  }
}

void RelockTracker::Lose(const LockSecond& second) {
  lost_ = true;
  silent_ = false;
  unseen_ = false;
  firstMessage_ = -1;
  open_ = {};
  open_.sfp = sfp_;
  open_.lastMessage = lastMessage_;
  open_.detected = second.time;
  open_.from = lockedMaster_;
}

void RelockTracker::ForgetMessages() {
  silent_ = true;
  firstMessage_ = -1;
  open_.stepMeasured = false;
}

void RelockTracker::SearchMaster(const LockSecond& second) {
  if (!second.linkUp) {
    open_.linkWasDown = true;
    ForgetMessages();
  }
  if (second.syncs == 0) silent_ = true;
  if (second.syncs == 0 || !second.linkUp) return;
  const bool sameMaster = second.grandmaster == lockedGrandmaster_;
  if (sameMaster && !silent_) {
    if (!second.locked) open_.lastMessage = second.time;
  } else if (second.grandmaster != 0 && firstMessage_ < 0) {
    firstMessage_ = second.time;
    open_.step = second.offset - lastOffset_;
    open_.stepMeasured = true;
  }
}

void RelockTracker::Finish(const LockSecond& second) {
  open_.locked = second.time;
  open_.to = second.master;
  open_.grandmasterChanged = second.grandmaster != lockedGrandmaster_;
  Close(second.time);
  ++relocked_;
}

void RelockTracker::Resume(const RelockMemory& memory, std::int64_t last) {
  hasLocked_ = memory.hasLocked;
  lost_ = memory.lost;
  lockedGrandmaster_ = memory.lockedGrandmaster;
  last_ = last;
  open_.sfp = sfp_;
}

void RelockTracker::EndRun() {
  if (lost_) Close(last_ + 1);
  hasLocked_ = false;
}

void RelockTracker::Close(std::int64_t end) {
  lost_ = false;
  open_.end = end;
  if (open_.linkWasDown || unseen_) {
    open_.start = firstMessage_ >= 0 ? firstMessage_ : end;
  } else {  // an old master that never fell silent was lost otherwise
    open_.start = silent_ || open_.grandmasterChanged ? open_.lastMessage : open_.detected;
  }
  const double step = open_.grandmasterChanged && open_.stepMeasured ? std::fabs(open_.step) : 0;
  const std::int64_t out = end - open_.detected;
  const bool worst = open_.Took() > slowest_ || out > longest_ || step > steepest_;
  slowest_ = std::max(slowest_, open_.Took());
  longest_ = std::max(longest_, out);
  steepest_ = std::max(steepest_, step);
  ++count_;
  if (all_.size() < (worst ? 2 * limit : limit)) all_.push_back(open_);
}

}  // namespace kestrune::report
