#include "network/network_interface.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <utility>

#include "diag/result_codes.h"
#include "kit/library.h"
#include "network/clocks.h"
#include "ptp/follower_record.h"

namespace kestrune::network {
namespace {

constexpr std::uint16_t eventPort = 319;
constexpr std::uint16_t generalPort = 320;
constexpr int mostTurns = 256;  // a flood costs no more
constexpr int datagramsByTurns = 8;

/// Of the clock that the interface's address stands for. The port numbers are far from those that a PTP clock
/// on the same interface uses, so that its messages and this observer's are told apart.
ptp::PortIdentity MakePortIdentity(const std::array<std::uint8_t, 6>& macAddress, std::size_t sfp) {
  std::uint64_t identity = 0;
  for (const std::uint8_t octet : {macAddress[0], macAddress[1], macAddress[2], std::uint8_t{0xFF},
                                   std::uint8_t{0xFE}, macAddress[3], macAddress[4], macAddress[5]}) {
    identity = identity << 8 | octet;
  }
  return {identity, static_cast<std::uint16_t>(0xFE01 + sfp)};
}

std::string HexText(const std::array<std::uint8_t, 6>& octets) {
  std::string text;
  for (const std::uint8_t octet : octets) {
    for (const int digit : {octet >> 4, octet & 0xF}) text += "0123456789ABCDEF"[digit];
  }
  return text;
}

/// As the records have it; other speeds have no code.
std::uint32_t SpeedCode(std::uint32_t megabitsPerSecond) {
  if (megabitsPerSecond == 10'000) return 1;
  if (megabitsPerSecond == 25'000) return 2;
  return 0;
}

}  // namespace

NetworkInterface::NetworkInterface(const Configuration& configuration, std::size_t sfp,
                                   const LinkWatch& watch)
    : configuration_(configuration), sfp_(sfp), name_(configuration.interfaces.at(sfp)), watch_(watch) {
  record_.sfp = static_cast<std::uint8_t>(sfp);
}

std::optional<Failure> NetworkInterface::Begin(std::int64_t now) {
  link_ = watch_.Read(name_);
  if (!link_) return Failure{ZV_E_DEVICE_NOT_PRESENT, "there is no network interface " + name_};
  if (link_->macAddress == Link().macAddress) {
    return Failure{ZV_E_INVALID_PARAMETER, "network interface " + name_ + " has no MAC address"};
  }
  if (auto failure = Open(*link_)) return failure;
  macAddress_ = HexText(link_->macAddress);
  counted_ = *link_;
  attended_ = now;
  port_.emplace(ptp::FollowerSettings{.portIdentity = MakePortIdentity(link_->macAddress, sfp_),
                                      .domainNumber = configuration_.domainNumber,
                                      .measuresDelay = !configuration_.passive,
                                      .clockIsUtc = !configuration_.hardwareClock,
                                      .pathDelayFilter = ptp::PathDelayFilter::Kind::MovingMedian,
                                      .lockThreshold = configuration_.lockThreshold,
                                      .unlockThreshold = 2 * configuration_.lockThreshold,
                                      .calibrationThreshold = std::numeric_limits<double>::infinity()});
  return std::nullopt;
}

std::optional<Failure> NetworkInterface::Open(const Link& link) {
  Close();
  const auto address = watch_.Ipv4Address(link.name);
  if (!address) {
    return Failure{ZV_E_INVALID_IP_ADDRESS, "network interface " + name_ + " has no IPv4 address"};
  }
  const bool hardware = configuration_.hardwareClock;
  if (hardware) {
    if (auto failure = SwitchHardwareStampsOn(link.name)) return failure;
  }
  auto event =
      StampedSocket::Open({link.name, link.index, *address, eventPort, !configuration_.passive, hardware});
  if (auto* failure = std::get_if<Failure>(&event)) return std::move(*failure);
  auto general = StampedSocket::Open({link.name, link.index, *address, generalPort, false, false});
  if (auto* failure = std::get_if<Failure>(&general)) return std::move(*failure);
  event_.emplace(std::move(std::get<StampedSocket>(event)));
  general_.emplace(std::move(std::get<StampedSocket>(general)));
  openIndex_ = link.index;
  openName_ = link.name;
  openAddress_ = address;
  return std::nullopt;
}

void NetworkInterface::Close() {
  event_.reset();
  general_.reset();
}

void NetworkInterface::LookAtLink() {
  const bool wasThere = link_.has_value();
  link_ = watch_.Read(name_);
  if (!link_) return Close();
  // Made anew it may have its index again, but counts from 0.
  const bool another =
      !wasThere || openIndex_ != link_->index || link_->octetsReceived < counted_.octetsReceived;
  if (another) counted_ = *link_;
  if (!general_ || another || openAddress_ != watch_.Ipv4Address(link_->name)) {
    failure_ = Open(*link_);
  }
}

void NetworkInterface::TellFailure() {
  const std::string text = Present() && failure_ ? failure_->text : "";
  if (!text.empty() && text != told_) std::fprintf(stderr, "%s: %s\n", kit::libraryName, text.c_str());
  told_ = text;
}

int NetworkInterface::Attend(std::int64_t now) {
  int heard = 0;
  if (general_) {
    while (const auto sent = event_->TakeSent()) {
      const Stamps& stamps = sent->stamps;
      port_->Follower().DelayReqSent(
          sent->tag, configuration_.hardwareClock ? stamps.hardware : stamps.system, stamps.system);
    }
    heard = HearBoth(now);
  }
  port_->ChooseParent(now);
  attended_ = now;
  if (!MaySend()) return heard;
  if (const auto request = port_->TakeDueRequest(now)) event_->Send(request->octets, request->sequenceId);
  return heard;
}

/// By turns, so that a Follow_Up is not far from its Sync however many have waited.
int NetworkInterface::HearBoth(std::int64_t now) {
  int heard = 0;
  for (int turn = 0; turn < mostTurns; ++turn) {
    const int more = HearSome(*event_, now) + HearSome(*general_, now);
    if (more == 0) break;
    heard += more;
  }
  return heard;
}

int NetworkInterface::HearSome(StampedSocket& socket, std::int64_t now) {
  const std::int64_t systemNow = ReadClock(CLOCK_REALTIME);
  for (int count = 0; count < datagramsByTurns; ++count) {
    const auto datagram = socket.Receive();
    if (!datagram) return count;
    const Stamps& stamps = datagram->stamps;
    // It may have waited since the last time.
    const std::int64_t age = stamps.system == 0 ? 0 : systemNow - stamps.system;
    port_->Hear(datagram->octets,
                {.sourceAddress = datagram->sourceAddress,
                 .now = now - std::clamp<std::int64_t>(age, 0, now - attended_),
                 .clockTimestamp = configuration_.hardwareClock ? stamps.hardware : stamps.system,
                 .localTimestamp = stamps.system});
  }
  return datagramsByTurns;
}

void NetworkInterface::CloseInterval(std::int64_t nanoseconds) {
  LookAtLink();
  TellFailure();
  port_->Follower().EndInterval();
  ptp::FillRecord(Follower(), record_);
  record_.state = static_cast<std::int32_t>(State());
  EnterLink(nanoseconds);
}

void NetworkInterface::EnterLink(std::int64_t nanoseconds) {
  const Link link = link_.value_or(Link());
  const double seconds = static_cast<double>(nanoseconds) / 1e9;
  const auto rate = [&](std::uint64_t before, std::uint64_t after) {
    const std::uint64_t octets = after > before ? after - before : 0;
    return static_cast<std::uint64_t>(std::llround(static_cast<double>(octets) / seconds));
  };
  record_.linkSpeed = SpeedCode(watch_.Speed(link.name));
  record_.linkTransmitRate = rate(counted_.octetsTransmitted, link.octetsTransmitted);
  record_.linkReceiveRate = rate(counted_.octetsReceived, link.octetsReceived);
  record_.linkPacketsTransmitted = link.packetsTransmitted;
  record_.linkPacketsReceived = link.packetsReceived;
  record_.linkTransmitPacketsDropped = link.transmitDropped;
  record_.linkReceivePacketErrors = link.receiveErrors;
  counted_ = link;
}

}  // namespace kestrune::network
