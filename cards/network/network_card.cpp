#include "network/network_card.h"

#include <algorithm>
#include <utility>

#include "diag/result_codes.h"
#include "network/clocks.h"
#include "ptp/port_selection.h"

namespace kestrune::network {
namespace {

constexpr std::int64_t second = 1'000'000'000;
/// Nothing is lost or less exact when a message, which the kernel has stamped, waits for so long.
constexpr std::int64_t longestNap = second / 10;
/// While so many come that the sockets' buffers, of some hundred each, would be full before that.
constexpr std::int64_t shortNap = second / 100;
constexpr int manyDatagrams = 64;

constexpr std::uint32_t freeRunning = 3;  // of a genlock

std::int64_t MonotonicNow() { return ReadClock(CLOCK_MONOTONIC); }

}  // namespace

NetworkCard::NetworkCard(const Configuration& configuration, LinkWatch watch)
    : configuration_(configuration), watch_(std::move(watch)) {
  for (std::size_t sfp = 0; sfp < configuration_.interfaces.size(); ++sfp) {
    interfaces_.push_back(std::make_unique<NetworkInterface>(configuration_, sfp, watch_));
  }
}

std::variant<std::unique_ptr<NetworkCard>, Failure> NetworkCard::Open(const Configuration& configuration) {
  auto watch = LinkWatch::Open();
  if (!watch) return Failure{ZV_E_INTERFACE_BIND_FAILED, "the system has no socket to watch its links with"};
  std::unique_ptr<NetworkCard> card(new NetworkCard(configuration, std::move(*watch)));
  std::string names;
  for (const auto& interface : card->interfaces_) {
    if (auto failure = interface->Begin(MonotonicNow())) return std::move(*failure);
    if (interface->Name() == names) {
      return Failure{ZV_E_INVALID_PARAMETER,
                     "ZV_NET_INTERFACES names the network interface " + names + " twice"};
    }
    names += (names.empty() ? "" : ", ") + interface->Name();
  }
  card->description_ = {.serialNumber = card->interfaces_.front()->MacAddress(),
                        .cardModel = "PTP network on " + names,
                        .wait = [self = card.get()](auto longest) { self->Wait(longest); }};
  return card;
}

void NetworkCard::Wake(std::int64_t) {
  watch_.TakeChange();
  secondBegan_ = attended_ = MonotonicNow();
  secondEnds_ = secondBegan_ + second;
  shown_ = Show();
}

void NetworkCard::Wait(std::chrono::milliseconds longest) const {
  const std::int64_t now = MonotonicNow();
  std::int64_t until = std::min({now + std::chrono::nanoseconds(longest).count(),
                                 attended_ + (busy_ ? shortNap : longestNap), secondEnds_});
  for (const auto& interface : interfaces_) until = std::min(until, interface->Deadline(now));
  watch_.WaitForChange(until - now);
}

kit::Card::Step NetworkCard::Advance() {
  const std::int64_t now = MonotonicNow();
  const bool linksChanged = watch_.TakeChange();
  int heard = 0;
  for (const auto& interface : interfaces_) {
    if (linksChanged) interface->LookAtLink();
    heard = std::max(heard, interface->Attend(now));
  }
  attended_ = now;
  busy_ = heard > manyDatagrams / (busy_ ? 10 : 1);
  if (interfaces_.size() == 2) {
    selectedSfp_ = ptp::SelectPort({&interfaces_[0]->Follower(), &interfaces_[1]->Follower()}, selectedSfp_);
  }
  Step step;
  if (now >= secondEnds_) step.telemetry = CloseSecond(now);
  const Shown before = std::exchange(shown_, Show());
  step.st2059Changed = shown_.st2059 != before.st2059;
  for (std::size_t sfp = 0; sfp < 2; ++sfp) step.sfpIpChanged[sfp] = shown_.sfpIp[sfp] != before.sfpIp[sfp];
  return step;
}

/// Seconds that were slept through have no records of their own.
std::vector<TelemetryRecord> NetworkCard::CloseSecond(std::int64_t now) {
  std::vector<TelemetryRecord> records;
  for (const auto& interface : interfaces_) {
    interface->CloseInterval(now - secondBegan_);
    if (interface->Present()) records.push_back(interface->Record());
  }
  secondBegan_ = now;
  while (secondEnds_ <= now) secondEnds_ += second;
  ++seconds_;
  return records;
}

std::int32_t NetworkCard::StateOf(std::size_t sfp) const {
  const ptp::PortState state =
      sfp < interfaces_.size() ? interfaces_[sfp]->State() : ptp::PortState::Disabled;
  return static_cast<std::int32_t>(state);
}

NetworkCard::Shown NetworkCard::Show() const {
  const St2059Status status = ReadSt2059Status();
  Shown shown{.st2059 = {static_cast<std::uint64_t>(status.state), status.bestMasterSfp,
                         status.bestMasterClockId, status.grandMasterClockId}};
  for (std::size_t sfp = 0; sfp < 2; ++sfp) {
    const SfpIpStatus sfpIp = ReadSfpIpStatus(sfp);
    shown.sfpIp[sfp] = {sfpIp.modulePresent, sfpIp.signalPresent};
    shown.st2059[4 + sfp] = static_cast<std::uint64_t>(StateOf(sfp));
  }
  return shown;
}

GenlockStatus NetworkCard::ReadGenlockStatus() const {
  auto status = MakeRecord<GenlockStatus>();
  status.state = freeRunning;
  return status;
}

GenlockSettings NetworkCard::ReadGenlockSettings() const { return MakeRecord<GenlockSettings>(); }

St2059Status NetworkCard::ReadSt2059Status() const {
  const St2059SfpStatus sfp = ReadSt2059SfpStatus(selectedSfp_);
  auto status = MakeRecord<St2059Status>();
  status.state = sfp.state;
  status.bestMasterSfp = static_cast<std::uint8_t>(selectedSfp_ + 1);
  status.bestMasterClockId = sfp.bestMasterClockId;
  status.grandMasterClockId = sfp.grandMasterClockId;
  return status;
}

/// Automatic.
St2059Settings NetworkCard::ReadSt2059Settings() const {
  auto settings = MakeRecord<St2059Settings>();
  settings.bestMasterSfpSelection = 1;
  return settings;
}

St2059SfpStatus NetworkCard::ReadSt2059SfpStatus(std::size_t sfp) const {
  auto status = MakeRecord<St2059SfpStatus>();
  status.state = StateOf(sfp);
  if (sfp >= interfaces_.size()) return status;
  const NetworkInterface& interface = *interfaces_[sfp];
  if (const ptp::AnnounceMessage* parent = interface.Follower().Parent()) {
    status.bestMasterClockId = parent->sourcePortIdentity.clockIdentity;
    status.grandMasterClockId = parent->grandmasterIdentity;
  }
  status.offsetFromMaster = interface.Record().offsetFromMaster;
  status.averageMeanPathDelay = interface.Record().averagePathDelay;
  return status;
}

/// Of an interface that isn't asked for: no module.
SfpIpStatus NetworkCard::ReadSfpIpStatus(std::size_t sfp) const {
  auto status = MakeRecord<SfpIpStatus>();
  if (sfp >= interfaces_.size()) return status;
  status.modulePresent = interfaces_[sfp]->Present();
  status.signalPresent = interfaces_[sfp]->Carrier();
  return status;
}

}  // namespace kestrune::network
