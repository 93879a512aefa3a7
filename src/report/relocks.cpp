#include "report/relocks.h"

namespace kestrune::report {

void RelockTracker::Add(const LockSecond& second) {
  const bool locked = second.locked && second.grandmaster != 0;
  if (!hasLocked_ && !locked) return;
  if (hasLocked_ && !lost_ && (!locked || second.grandmaster != lockedGrandmaster_)) Lose(second);
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
  firstMessage_ = -1;
  open_ = {};
  open_.sfp = sfp_;
  open_.lastMessage = lastMessage_;
  open_.detected = second.time;
  open_.from = lockedMaster_;
}

void RelockTracker::SearchMaster(const LockSecond& second) {
  if (!second.linkUp) {
    open_.linkWasDown = true;
    silent_ = true;
    firstMessage_ = -1;
    open_.stepMeasured = false;
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
  if (open_.linkWasDown) {
    open_.start = firstMessage_ >= 0 ? firstMessage_ : second.time;
  } else {  // an old master that never fell silent was lost otherwise
    open_.start = silent_ || open_.grandmasterChanged ? open_.lastMessage : open_.detected;
  }
  Keep();
  lost_ = false;
  ++relocked_;
}

void RelockTracker::Resume(const RelockMemory& memory) {
  hasLocked_ = memory.hasLocked;
  lost_ = memory.lost;
  lockedGrandmaster_ = memory.lockedGrandmaster;
  open_.sfp = sfp_;
}

void RelockTracker::EndRun() {
  if (lost_) {
    open_.start = open_.lastMessage;
    Keep();
  }
  lost_ = false;
  hasLocked_ = false;
}

void RelockTracker::Keep() {
  if (all_.size() < limit) {
    all_.push_back(open_);
  } else {
    ++dropped_;
  }
}

}  // namespace kestrune::report
