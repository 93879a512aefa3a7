#include "report/followed.h"

#include <algorithm>

#include "report/record.h"

namespace kestrune::report {
namespace {

/// The moments at which anything that matters here may change.
std::vector<std::int64_t> Turns(const Recording& recording) {
  std::vector<std::int64_t> turns = {recording.first, recording.end};
  const auto add = [&](const Runs& runs) {
    for (const Run& run : runs.All()) turns.push_back(std::clamp(run.from, recording.first, recording.end));
  };
  add(recording.eventLog.bestSfp);
  for (const SfpRecording& sfp : recording.sfp) {
    add(sfp.state);
    add(sfp.master);
  }
  std::ranges::sort(turns);
  turns.erase(std::unique(turns.begin(), turns.end()), turns.end());
  return turns;
}

const Master& MasterAt(const Recording& recording, std::int64_t time) {
  int followed = recording.eventLog.FollowedSfp(time);
  if (followed < 0) {
    const auto isLocked = [&](std::size_t sfp) {
      return recording.sfp[sfp].state.At(time) == followerLocked;
    };
    followed = !isLocked(0) && isLocked(1) ? 1 : 0;
  }
  const SfpRecording& sfp = recording.sfp[static_cast<std::size_t>(followed)];
  const std::int32_t master = HasMaster(sfp.state.At(time)) ? sfp.master.At(time) : 0;
  return recording.masters[static_cast<std::size_t>(master)];
}

}  // namespace

std::vector<FollowedStretch> FollowedMasters(const Recording& recording) {
  std::vector<FollowedStretch> stretches;
  if (recording.end <= recording.first) return stretches;
  const std::vector<std::int64_t> turns = Turns(recording);
  for (std::size_t i = 0; i + 1 < turns.size(); ++i) {
    const Master& master = MasterAt(recording, turns[i]);
    if (master.grandmaster == 0) continue;
    const FollowedStretch next{turns[i], turns[i + 1], master.grandmaster, master.domain};
    if (!stretches.empty() && stretches.back().to == next.from && stretches.back().SameMaster(next)) {
      stretches.back().to = next.to;
    } else {
      stretches.push_back(next);
    }
  }
  return stretches;
}

}  // namespace kestrune::report
