#include "simulated/sfp_link.h"

#include <algorithm>

#include "simulated/network.h"

namespace kestrune::simulated {
namespace {

// ST 2110-20, 1920 × 1080 at 50 frames/s, 10-bit 4:2:2: 4320 packets of one quarter line a frame.
constexpr std::uint64_t mediaPacketsPerSlot = 4320 * 50 / slotsPerSecond;
constexpr std::uint64_t mediaPacketOctets = 1200 + 20 + 12 + 28 + 18;  // samples, headers, Ethernet

}  // namespace

SfpLink::SfpLink(const Sfp& sfp, Random random)
    : random_(random),
      modulePresent_(sfp.present),
      fibrePresent_(sfp.signal),
      transmitError_(sfp.transmitError),
      linkSpeed_(sfp.linkSpeed),
      path_(sfp.path) {}

bool SfpLink::Receive(std::uint32_t octets) {
  if (!SignalPresent()) return false;
  if (random_.Chance(path_.lossProbability)) {
    ++packetErrors_;
    return false;
  }
  ++packetsReceived_;
  octetsReceived_ += octets;
  return true;
}

bool SfpLink::Transmit(std::uint32_t octets) {
  if (!SignalPresent()) return false;
  if (transmitError_) {
    ++packetsDropped_;
    return false;
  }
  ++packetsTransmitted_;
  octetsTransmitted_ += octets;
  return !random_.Chance(path_.lossProbability);
}

void SfpLink::CarryMedia() {
  if (!SignalPresent()) return;
  mediaLost_ += path_.lossProbability * static_cast<double>(mediaPacketsPerSlot);
  const auto lost = static_cast<std::uint64_t>(mediaLost_);
  mediaLost_ -= static_cast<double>(lost);
  const std::uint64_t received = mediaPacketsPerSlot - std::min(lost, mediaPacketsPerSlot);
  packetErrors_ += lost;
  packetsReceived_ += received;
  octetsReceived_ += received * mediaPacketOctets;
  if (transmitError_) {
    packetsDropped_ += mediaPacketsPerSlot;
    return;
  }
  packetsTransmitted_ += mediaPacketsPerSlot;
  octetsTransmitted_ += mediaPacketsPerSlot * mediaPacketOctets;
}

void SfpLink::CloseInterval(TelemetryRecord& record) {
  record.linkSpeed = linkSpeed_;
  record.linkReceiveRate = octetsReceived_;
  record.linkTransmitRate = octetsTransmitted_;
  record.linkPacketsReceived = packetsReceived_;
  record.linkPacketsTransmitted = packetsTransmitted_;
  record.linkTransmitPacketsDropped = packetsDropped_;
  record.linkReceivePacketErrors = packetErrors_;
  octetsReceived_ = 0;
  octetsTransmitted_ = 0;
}

double SfpLink::DrawDelay(double asymmetryNs) {
  return std::max(0.0, path_.delayNs + asymmetryNs + path_.jitterNs * random_.Gaussian());
}

}  // namespace kestrune::simulated
