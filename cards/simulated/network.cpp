#include "simulated/network.h"

#include <cmath>

namespace kestrune::simulated {
namespace {

/// The flags that go with the clockClass (IEEE 1588-2019, table 4): 6 and 7 are traceable to a primary
/// reference, 13, 14, 58 and 193 serve an arbitrary time scale.
std::uint8_t FlagsOf(std::uint8_t clockClass) {
  const bool arbitrary = clockClass == 13 || clockClass == 14 || clockClass == 58 || clockClass == 193;
  const bool traceable = clockClass == 6 || clockClass == 7;
  const int flags = (arbitrary ? 0 : ptp::currentUtcOffsetValid | ptp::ptpTimescale) |
                    (traceable ? ptp::timeTraceable | ptp::frequencyTraceable : 0);
  return static_cast<std::uint8_t>(flags);
}

}  // namespace

ptp::PortIdentity Network::Port(std::size_t master) const {
  const Grandmaster& grandmaster = masters_[master];
  return {grandmaster.portClockIdentity != 0 ? grandmaster.portClockIdentity : grandmaster.clockIdentity, 1};
}

std::optional<std::size_t> Network::Find(const ptp::PortIdentity& port, std::size_t sfp) const {
  for (std::size_t master = 0; master < masters_.size(); ++master) {
    if (Reaches(master, sfp) && Port(master) == port) return master;
  }
  return std::nullopt;
}

ptp::AnnounceMessage Network::Announce(std::size_t master, std::int64_t slot,
                                       std::int64_t utcNanoseconds) const {
  const Grandmaster& grandmaster = masters_[master];
  return {
      .sourcePortIdentity = Port(master),
      .sourceAddress = grandmaster.ipv4,
      .sequenceId = static_cast<std::uint16_t>(slot / slotsPerAnnounce),
      .flagOctet1 = FlagsOf(grandmaster.clockClass),
      .originTimestamp = utcNanoseconds + std::llround(grandmaster.timeErrorNs) +
                         grandmaster.currentUtcOffset * std::int64_t{1'000'000'000},
      .currentUtcOffset = grandmaster.currentUtcOffset,
      .grandmasterIdentity = grandmaster.clockIdentity,
      .grandmasterPriority1 = grandmaster.priority1,
      .grandmasterClockClass = grandmaster.clockClass,
      .grandmasterClockAccuracy = grandmaster.clockAccuracy,
      .grandmasterOffsetScaledLogVariance = grandmaster.offsetScaledLogVariance,
      .grandmasterPriority2 = grandmaster.priority2,
      .stepsRemoved = grandmaster.stepsRemoved,
      .timeSource = grandmaster.timeSource,
  };
}

void Network::Change(std::size_t master, const Grandmaster& attributes) {
  const bool present = masters_.at(master).present;
  masters_[master] = attributes;
  masters_[master].present = present;
}

}  // namespace kestrune::simulated
