#include "ptp/foreign_masters.h"

#include <algorithm>

#include "ptp/data_set.h"
#include "ptp/profile.h"

namespace kestrune::ptp {
namespace {

/// FOREIGN_MASTER_TIME_WINDOW in announce intervals, of FOREIGN_MASTER_THRESHOLD 2.
constexpr std::int64_t foreignMasterTimeWindow = 4;
constexpr std::uint16_t mostStepsRemoved = 254;

/// For which one that was heard once keeps its place: by then a master of the profile is heard again.
constexpr std::int64_t strangersTime = announceInterval * 3 / 2;

}  // namespace

std::int64_t ForeignMasters::ForeignMaster::AnnounceInterval() const {
  return Interval(AnnouncedLog(announce.logMessageInterval, logAnnounceInterval));
}

std::int64_t ForeignMasters::ForeignMaster::TimeWindow() const {
  return foreignMasterTimeWindow * AnnounceInterval();
}

std::int64_t ForeignMasters::ForeignMaster::ReceiptDeadline() const {
  return received + announceReceiptTimeout * AnnounceInterval();
}

void ForeignMasters::Hear(const AnnounceMessage& message, std::int64_t now,
                          const std::optional<PortIdentity>& parent) {
  if ((message.flagOctet0 & alternateMaster) != 0 || message.stepsRemoved > mostStepsRemoved) return;
  const auto known = std::ranges::find_if(masters_, [&](const ForeignMaster& master) {
    return master.announce.sourcePortIdentity == message.sourcePortIdentity;
  });
  if (known == masters_.end()) {
    if (masters_.size() == mostMasters) MakeRoomFor(message, now, parent);
    if (masters_.size() < mostMasters) masters_.push_back({message, now, {}});
  } else if (known->announce.sequenceId != message.sequenceId) {  // else the same one, doubled on its way
    *known = {message, now, known->received};
  }
}

void ForeignMasters::MakeRoomFor(const AnnounceMessage& message, std::int64_t now,
                                 const std::optional<PortIdentity>& parent) {
  const auto end = masters_.end();
  auto oldestStranger = end;
  auto worst = end;
  for (auto master = masters_.begin(); master != end; ++master) {
    if (master->announce.sourcePortIdentity == parent) continue;
    if (master->receivedBefore) {
      if (worst == end || IsBetter(worst->announce, master->announce)) worst = master;
    } else if (oldestStranger == end || master->received < oldestStranger->received) {
      oldestStranger = master;
    }
  }
  if (oldestStranger != end && now - oldestStranger->received >= strangersTime) {
    masters_.erase(oldestStranger);
  } else if (worst != end && IsBetter(message, worst->announce)) {
    masters_.erase(worst);
  }
}

void ForeignMasters::LookAt(std::int64_t now) {
  now_ = now;
  std::erase_if(masters_,
                [&](const ForeignMaster& master) { return now - master.received >= master.TimeWindow(); });
}

std::vector<const AnnounceMessage*> ForeignMasters::Qualified(
    const std::optional<PortIdentity>& parent) const {
  std::vector<const AnnounceMessage*> qualified;
  for (const ForeignMaster& master : masters_) {
    if (now_ >= master.ReceiptDeadline()) continue;
    const bool twice = master.receivedBefore && now_ - *master.receivedBefore < master.TimeWindow();
    if (!twice && master.announce.sourcePortIdentity != parent) continue;
    // No sorting algorithm: what contradictory masters announce can be better in a circle.
    const auto place =
        std::ranges::find_if(qualified, [&](const auto* other) { return IsBetter(master.announce, *other); });
    qualified.insert(place, &master.announce);
  }
  return qualified;
}

const AnnounceMessage* ForeignMasters::Find(const PortIdentity& master) const {
  const ForeignMaster* found = FindMaster(master);
  return found != nullptr ? &found->announce : nullptr;
}

std::optional<std::int64_t> ForeignMasters::ReceiptDeadline(const PortIdentity& master) const {
  const ForeignMaster* found = FindMaster(master);
  return found != nullptr ? std::optional(found->ReceiptDeadline()) : std::nullopt;
}

const ForeignMasters::ForeignMaster* ForeignMasters::FindMaster(const PortIdentity& master) const {
  const auto found = std::ranges::find_if(masters_, [&](const ForeignMaster& candidate) {
    return candidate.announce.sourcePortIdentity == master;
  });
  return found != masters_.end() ? &*found : nullptr;
}

}  // namespace kestrune::ptp
