#include "network/ptp_port.h"

#include <algorithm>
#include <cmath>

namespace kestrune::network {
namespace {

constexpr std::int64_t longestWait = 3'600'000'000'000;

ptp::SyncMessage MakeSync(const Message& message, std::int64_t receiveTimestamp) {
  return {.sourcePortIdentity = message.sourcePortIdentity,
          .sequenceId = message.sequenceId,
          .twoStepFlag = (message.flagOctet0 & ptp::twoStep) != 0,
          .logMessageInterval = message.logMessageInterval,
          .originTimestamp = message.timestamp,
          .correction = message.Correction(),
          .receiveTimestamp = receiveTimestamp};
}

ptp::FollowUpMessage MakeFollowUp(const Message& message) {
  return {.sourcePortIdentity = message.sourcePortIdentity,
          .sequenceId = message.sequenceId,
          .preciseOriginTimestamp = message.timestamp,
          .correction = message.Correction()};
}

ptp::DelayRespMessage MakeDelayResp(const Message& message) {
  return {.sourcePortIdentity = message.sourcePortIdentity,
          .requestingPortIdentity = message.requestingPortIdentity,
          .sequenceId = message.sequenceId,
          .logMessageInterval = message.logMessageInterval,
          .receiveTimestamp = message.timestamp,
          .correction = message.Correction()};
}

}  // namespace

PtpPort::PtpPort(const ptp::FollowerSettings& settings)
    : follower_(settings),
      random_(static_cast<std::minstd_rand::result_type>(settings.portIdentity.clockIdentity)) {}

void PtpPort::Hear(std::span<const std::uint8_t> datagram, const Arrival& arrival) {
  const auto message = Decode(datagram);
  if (!message) return follower_.HearNonsense();
  const ptp::FollowerSettings& own = follower_.Settings();
  const bool foreignDomain = message->majorSdoId != 0 || message->domainNumber != own.domainNumber;
  if (!foreignDomain && message->sourcePortIdentity != own.portIdentity) Hear(*message, arrival);
}

void PtpPort::Hear(const Message& message, const Arrival& arrival) {
  switch (message.type) {
    case MessageType::Announce: {
      ptp::AnnounceMessage announce = message.announce;
      announce.sourceAddress = arrival.sourceAddress;
      return follower_.HearAnnounce(announce, arrival.now);
    }
    case MessageType::Sync:
      // Without a time stamp nothing can be measured.
      if (arrival.clockTimestamp == 0) return follower_.HearNonsense();
      follower_.HearSync(MakeSync(message, arrival.clockTimestamp));
      return;
    case MessageType::FollowUp:
      follower_.HearFollowUp(MakeFollowUp(message));
      return;
    case MessageType::DelayResp:
      return follower_.HearDelayResp(MakeDelayResp(message), arrival.localTimestamp);
    case MessageType::DelayReq:
      return follower_.HearDelayReq();
    case MessageType::Management:
      return follower_.HearManagement();
    default:
      return;
  }
}

std::optional<PtpPort::DelayReq> PtpPort::TakeDueRequest(std::int64_t now) {
  const std::int64_t twice = 2 * ptp::Interval(follower_.LogMinDelayReqInterval());
  requestDue_ = std::min(requestDue_, now + twice);  // a master before may have asked for fewer
  if (!follower_.WantsDelay() || now < requestDue_) return std::nullopt;
  // IEEE 1588-2019, 9.5.11.2: at random, at the minimum interval on average. Every other wait makes up for
  // the one before, so that as many are sent as are due.
  const double share = makeUp_.value_or(std::uniform_real_distribution<>()(random_));
  makeUp_ = makeUp_ ? std::nullopt : std::optional(1 - share);
  if (now - requestDue_ > twice) requestDue_ = now;
  requestDue_ += std::llround(share * static_cast<double>(twice));
  const ptp::FollowerSettings& own = follower_.Settings();
  const std::uint16_t sequenceId = follower_.SendDelayReq();
  return DelayReq{sequenceId, EncodeDelayReq(own.portIdentity, own.domainNumber, sequenceId)};
}

std::int64_t PtpPort::Deadline(std::int64_t now, bool maySend) const {
  std::int64_t deadline = follower_.ReceiptDeadline().value_or(now + longestWait);
  if (maySend && follower_.WantsDelay()) deadline = std::min(deadline, requestDue_);
  return deadline;
}

}  // namespace kestrune::network
