#include "network/wire.h"

namespace kestrune::network {
namespace {

constexpr std::size_t headerOctets = 34;
constexpr std::uint8_t versionPtp = 2;
constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;
constexpr std::uint64_t mostSeconds = 9'000'000'000;  // 64-bit nanoseconds end a little later

/// The octets of a message without its TLVs; 0 for types that there are not.
std::size_t LeastOctets(MessageType type) {
  switch (type) {
    case MessageType::Sync:
    case MessageType::DelayReq:
    case MessageType::FollowUp:
    case MessageType::Signaling:
      return 44;
    case MessageType::Management:
      return 48;
    case MessageType::PdelayReq:
    case MessageType::PdelayResp:
    case MessageType::PdelayRespFollowUp:
    case MessageType::DelayResp:
      return 54;
    case MessageType::Announce:
      return 64;
  }
  return 0;
}

using Octets = std::span<const std::uint8_t>;

template <class Integer>
Integer Read(Octets octets, std::size_t at, std::size_t width = sizeof(Integer)) {
  std::uint64_t value = 0;
  for (const std::uint8_t octet : octets.subspan(at, width)) value = value << 8 | octet;
  return static_cast<Integer>(value);
}

template <class Integer>
void Write(Integer value, std::span<std::uint8_t> octets, std::size_t at) {
  for (std::size_t octet = sizeof(Integer); octet-- > 0; ++at) {
    octets[at] = static_cast<std::uint8_t>(value >> (8 * octet));
  }
}

std::int32_t ReadSigned(std::uint8_t octet) { return octet < 0x80 ? octet : octet - 0x100; }

ptp::PortIdentity ReadPortIdentity(Octets octets, std::size_t at) {
  return {Read<std::uint64_t>(octets, at), Read<std::uint16_t>(octets, at + 8)};
}

std::optional<std::int64_t> ReadTimestamp(Octets octets) {
  const auto seconds = Read<std::uint64_t>(octets, headerOctets, 6);
  const auto nanoseconds = Read<std::uint32_t>(octets, headerOctets + 6);
  if (seconds > mostSeconds || nanoseconds >= nanosecondsPerSecond) return std::nullopt;
  return static_cast<std::int64_t>(seconds) * nanosecondsPerSecond + nanoseconds;
}

Message ReadHeader(Octets octets) {
  return {.type = static_cast<MessageType>(octets[0] & 0x0F),
          .majorSdoId = static_cast<std::uint8_t>(octets[0] >> 4),
          .domainNumber = octets[4],
          .flagOctet0 = octets[6],
          .flagOctet1 = octets[7],
          .correctionField = Read<std::int64_t>(octets, 8),
          .sourcePortIdentity = ReadPortIdentity(octets, 20),
          .sequenceId = Read<std::uint16_t>(octets, 30),
          .logMessageInterval = ReadSigned(octets[33])};
}

ptp::AnnounceMessage ReadAnnounce(Octets octets, const Message& header) {
  return {.sourcePortIdentity = header.sourcePortIdentity,
          .sequenceId = header.sequenceId,
          .flagOctet0 = header.flagOctet0,
          .flagOctet1 = header.flagOctet1,
          .correctionField = header.correctionField,
          .logMessageInterval = header.logMessageInterval,
          .originTimestamp = header.timestamp,
          .currentUtcOffset = Read<std::int16_t>(octets, 44),
          .grandmasterIdentity = Read<std::uint64_t>(octets, 53),
          .grandmasterPriority1 = octets[47],
          .grandmasterClockClass = octets[48],
          .grandmasterClockAccuracy = octets[49],
          .grandmasterOffsetScaledLogVariance = Read<std::uint16_t>(octets, 50),
          .grandmasterPriority2 = octets[52],
          .stepsRemoved = Read<std::uint16_t>(octets, 61),
          .timeSource = octets[63]};
}

}  // namespace

std::optional<Message> Decode(std::span<const std::uint8_t> datagram) {
  if (datagram.size() < headerOctets || (datagram[1] & 0x0F) != versionPtp) return std::nullopt;
  Message message = ReadHeader(datagram);
  const std::size_t least = LeastOctets(message.type);
  const std::size_t length = Read<std::uint16_t>(datagram, 2);
  if (least == 0 || length < least || length > datagram.size()) return std::nullopt;
  if (message.type == MessageType::Signaling || message.type == MessageType::Management) return message;

  const auto timestamp = ReadTimestamp(datagram);
  if (!timestamp) return std::nullopt;
  message.timestamp = *timestamp;
  if (message.type == MessageType::Announce) {
    message.announce = ReadAnnounce(datagram, message);
  } else if (least == 54 && message.type != MessageType::PdelayReq) {
    message.requestingPortIdentity = ReadPortIdentity(datagram, 44);
  }
  return message;
}

DelayReqOctets EncodeDelayReq(const ptp::PortIdentity& source, std::uint8_t domainNumber,
                              std::uint16_t sequenceId) {
  DelayReqOctets octets{};
  octets[0] = static_cast<std::uint8_t>(MessageType::DelayReq);
  octets[1] = versionPtp;
  octets[3] = static_cast<std::uint8_t>(octets.size());
  octets[4] = domainNumber;
  Write(source.clockIdentity, octets, 20);
  Write(source.portNumber, octets, 28);
  Write(sequenceId, octets, 30);
  octets[32] = 1;     // controlField of a Delay_Req
  octets[33] = 0x7F;  // no interval
  return octets;
}

}  // namespace kestrune::network
