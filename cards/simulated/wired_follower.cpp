#include "simulated/wired_follower.h"

#include <cmath>

#include "ptp/follower_record.h"

namespace kestrune::simulated {
namespace {

// On the wire, Ethernet, IPv4 and UDP headers included.
constexpr std::uint32_t transportOctets = 18 + 20 + 8;
constexpr std::uint32_t announceOctets = transportOctets + 64;
constexpr std::uint32_t syncOctets = transportOctets + 44;
constexpr std::uint32_t followUpOctets = transportOctets + 44;
constexpr std::uint32_t delayReqOctets = transportOctets + 44;
constexpr std::uint32_t delayRespOctets = transportOctets + 54;
constexpr std::uint32_t managementOctets = transportOctets + 48 + 54;  // with the metadata's TLV

constexpr double syncSendJitterNs = 500;  // of the master's scheduling; the origin timestamp knows it
constexpr double turnaroundNs = 40'000;   // of the master, from Delay_Req to Delay_Resp
constexpr double turnaroundJitterNs = 3'000;

}  // namespace

WiredFollower::WiredFollower(const Network& network, std::size_t sfp, const Sfp& settings, Random link,
                             Random messages)
    : network_(network), sfp_(sfp), link_(settings, link), random_(messages) {
  record_.sfp = static_cast<std::uint8_t>(sfp);
}

std::optional<std::size_t> WiredFollower::ReachableParent() const {
  const ptp::AnnounceMessage* parent = follower_.Parent();
  return parent != nullptr ? network_.Find(parent->sourcePortIdentity, sfp_) : std::nullopt;
}

void WiredFollower::HearAnnounces(std::int64_t slot, std::int64_t utcNanoseconds) {
  const std::int64_t now = slot * slotNanoseconds;
  for (std::size_t master = 0; master < network_.Count(); ++master) {
    if (!network_.Reaches(master, sfp_) || !link_.Receive(announceOctets)) continue;
    follower_.HearAnnounce(network_.Announce(master, slot, utcNanoseconds), now);
  }
  follower_.ChooseParent(now);
}

void WiredFollower::HearManagement() {
  if (ReachableParent() && link_.Receive(managementOctets)) follower_.HearManagement();
}

std::optional<std::int64_t> WiredFollower::HearSync(std::int64_t slot, const CardClock& clock) {
  const auto master = ReachableParent();
  if (!master) return std::nullopt;
  const bool twoStep = network_.TwoStep(*master);
  const bool synced = link_.Receive(syncOctets);
  const bool followed = twoStep && link_.Receive(followUpOctets);

  const ptp::PortIdentity source = network_.Port(*master);
  const auto sequenceId = static_cast<std::uint16_t>(slot);
  std::int64_t origin = slot * slotNanoseconds;
  std::int64_t received = origin;
  if (synced && (followed || !twoStep)) {
    const double masterError = network_.TimeError(*master);
    origin += std::llround(masterError + syncSendJitterNs * random_.Gaussian());
    received = origin + std::llround(link_.DrawReceiveDelay() + clock.Error() - masterError);
  }
  std::optional<std::int64_t> offset;
  if (synced) {
    offset = follower_.HearSync({.sourcePortIdentity = source,
                                 .sequenceId = sequenceId,
                                 .twoStepFlag = twoStep,
                                 .originTimestamp = twoStep ? 0 : origin,
                                 .receiveTimestamp = received});
  }
  if (followed) {
    offset = follower_.HearFollowUp(
        {.sourcePortIdentity = source, .sequenceId = sequenceId, .preciseOriginTimestamp = origin});
  }
  follower_.EndSyncInterval();
  return offset;
}

void WiredFollower::ExchangeDelay(const CardClock& clock, double slotRestSeconds) {
  if (!follower_.WantsDelay() || !link_.SignalPresent()) return;
  const std::uint16_t sequenceId = follower_.SendDelayReq();
  const double seconds = slotRestSeconds * random_.Uniform();
  const bool arrives = link_.Transmit(delayReqOctets);
  const auto master = ReachableParent();
  if (!arrives || !master || !link_.Receive(delayRespOctets)) return;

  const double there = link_.DrawTransmitDelay();
  const double back = link_.DrawReceiveDelay();
  const double turnaround = turnaroundNs + turnaroundJitterNs * random_.Gaussian();
  const double clockError = clock.ErrorAfter(seconds) - network_.TimeError(*master);
  follower_.DelayReqSent(sequenceId, 0, 0);
  follower_.HearDelayResp({.sourcePortIdentity = network_.Port(*master),
                           .sequenceId = sequenceId,
                           .receiveTimestamp = std::llround(there - clockError)},
                          std::llround(there + turnaround + back));
}

void WiredFollower::ClockCorrected(double nanoseconds) {
  record_.lastCorrection = ptp::NearestPair(std::llround(nanoseconds));
}

void WiredFollower::CloseInterval() {
  follower_.EndInterval();
  ptp::FillRecord(follower_, record_);
  link_.CloseInterval(record_);
}

}  // namespace kestrune::simulated
