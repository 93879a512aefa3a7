#include "report/followed.h"

#include <array>

#include "files/code_texts.h"
#include "report/excursions.h"
#include "report/record.h"

namespace kestrune::report {
namespace {

/// What is known of one SFP at a time.
struct Following {
  std::int32_t state;
  std::int32_t master;
};

const Master& MasterOf(const Recording& recording, std::int32_t label,
                       const std::array<Following, sfpCount>& sfps) {
  const auto logged = CodeOf(sfpLabels, recording.eventLog.texts[label]);
  const bool onlyB = sfps[0].state != followerLocked && sfps[1].state == followerLocked;
  const auto [state, master] = sfps[static_cast<std::size_t>(logged.value_or(onlyB ? 1 : 0))];
  return recording.masters[static_cast<std::size_t>(HasMaster(state) ? master : 0)];
}

}  // namespace

FollowedMasters FindFollowedMasters(const Recording& recording, std::size_t most) {
  FollowedMasters found;
  FollowedStretch open;
  const auto close = [&] {
    if (open.grandmaster == 0) return;
    if (found.first.size() < most) {
      found.first.push_back(open);
    } else {
      ++found.leftOut;
    }
  };
  const auto& [a, b] = recording.sfp;
  ForEachCommonRun<5>(
      {&recording.eventLog.bestSfp, &a.state, &a.master, &b.state, &b.master}, recording.first, recording.end,
      [&](std::int64_t from, std::int64_t to, const auto& values) {
        const auto [label, stateA, masterA, stateB, masterB] = values;
        const Master& master = MasterOf(recording, label, {{{stateA, masterA}, {stateB, masterB}}});
        const FollowedStretch next{from, to, master.grandmaster, master.domain};
        if (!open.SameMaster(next)) {
          close();
          open = next;
        }
        open.to = to;
      });
  close();
  return found;
}

}  // namespace kestrune::report
