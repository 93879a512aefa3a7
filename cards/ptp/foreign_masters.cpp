#include "ptp/foreign_masters.h"

#include <algorithm>

#include "ptp/data_set.h"
#include "ptp/profile.h"

namespace kestrune::ptp {
namespace {

/// FOREIGN_MASTER_TIME_WINDOW, of FOREIGN_MASTER_THRESHOLD 2.
constexpr std::int64_t foreignMasterTimeWindow = 4 * announceInterval;
constexpr std::int64_t receiptTimeout = announceReceiptTimeout * announceInterval;

}  // namespace

void ForeignMasters::Hear(const AnnounceMessage& message, std::int64_t now) {
  const auto known = std::ranges::find_if(masters_, [&](const ForeignMaster& master) {
    return master.announce.sourcePortIdentity == message.sourcePortIdentity;
  });
  if (known == masters_.end()) {
    masters_.push_back({message, now, {}});
  } else if (known->announce.sequenceId != message.sequenceId) {  // else the same one, doubled on its way
    *known = {message, now, known->received};
  }
}

void ForeignMasters::LookAt(std::int64_t now) {
  now_ = now;
  std::erase_if(masters_, [&](const ForeignMaster& master) {
    return now - master.received >= foreignMasterTimeWindow;
  });
}

std::vector<const AnnounceMessage*> ForeignMasters::Qualified(
    const std::optional<PortIdentity>& parent) const {
  std::vector<const AnnounceMessage*> qualified;
  for (const ForeignMaster& master : masters_) {
    if (now_ - master.received >= receiptTimeout) continue;
    const bool twice = master.receivedBefore && now_ - *master.receivedBefore < foreignMasterTimeWindow;
    if (twice || master.announce.sourcePortIdentity == parent) qualified.push_back(&master.announce);
  }
  std::ranges::sort(qualified, [](const auto* left, const auto* right) { return IsBetter(*left, *right); });
  return qualified;
}

const AnnounceMessage* ForeignMasters::Find(const PortIdentity& master) const {
  const auto found = std::ranges::find_if(masters_, [&](const ForeignMaster& candidate) {
    return candidate.announce.sourcePortIdentity == master;
  });
  return found != masters_.end() ? &found->announce : nullptr;
}

}  // namespace kestrune::ptp
