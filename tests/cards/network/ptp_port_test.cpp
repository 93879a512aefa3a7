#include "network/ptp_port.h"

#include <gtest/gtest.h>

namespace kestrune::network {
namespace {

TEST(PtpPort, HearsOthersOfItsDomain) {
  constexpr ptp::PortIdentity own{0x0200'00FF'FE00'0F01, 0xFE01};
  constexpr ptp::PortIdentity other{own.clockIdentity, 1};
  PtpPort port({.portIdentity = own, .domainNumber = 5});
  const ptp::MessageCounters& counters = port.Follower().Counters();
  const auto counts = [&](const ptp::PortIdentity& source, std::uint8_t domainNumber, int majorSdoId) {
    const std::uint32_t before = counters.delayReqReceived;
    auto datagram = EncodeDelayReq(source, domainNumber, 1);
    datagram[0] = static_cast<std::uint8_t>(datagram[0] | majorSdoId << 4);
    port.Hear(datagram, {});
    return counters.delayReqReceived > before;
  };
  EXPECT_TRUE(counts(other, 5, 0));
  EXPECT_FALSE(counts(own, 5, 0));
  EXPECT_FALSE(counts(other, 6, 0));
  EXPECT_FALSE(counts(other, 5, 1));
  EXPECT_EQ(counters.discarded, 0U);
  port.Hear(std::span<const std::uint8_t>(), {});
  EXPECT_EQ(counters.discarded, 1U);
}

TEST(PtpPort, AsksANewMasterAsOftenAsThatOneWants) {
  PtpPort port({});
  const auto follow = [&](const ptp::PortIdentity& master, std::int32_t logInterval) {
    ptp::AnnounceMessage announce{.sourcePortIdentity = master, .grandmasterIdentity = master.clockIdentity};
    for (; announce.sequenceId < 2; ++announce.sequenceId) port.Follower().HearAnnounce(announce, 0);
    port.ChooseParent(0);
    port.Follower().HearSync({.sourcePortIdentity = master});
    port.Follower().HearDelayResp({.sourcePortIdentity = master, .logMessageInterval = logInterval}, 0);
  };
  follow({2, 1}, 6);
  EXPECT_TRUE(port.TakeDueRequest(0));
  follow({1, 1}, -3);
  EXPECT_FALSE(port.TakeDueRequest(ptp::announceInterval)) << "the one before wants one a minute";
  EXPECT_TRUE(port.TakeDueRequest(2 * ptp::announceInterval));
}

}  // namespace
}  // namespace kestrune::network
