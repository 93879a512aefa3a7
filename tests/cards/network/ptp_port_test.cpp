#include "network/ptp_port.h"

#include <gtest/gtest.h>

#include <map>
#include <variant>

#include "diag/result_codes.h"
#include "network/configuration.h"
#include "seeds.h"

namespace kestrune::network {
namespace {

constexpr ptp::PortIdentity ownPort{0x0200'00FF'FE00'0F01, 1};  // to whom the seeds' responses go

/// What a port, whose clock stands 400 ns ahead of all that a seed says, makes of it.
ptp::Measurements Play(PtpPort& port, const char* seed, std::uint8_t domainNumber = 127) {
  std::int64_t now = 0;
  std::map<std::uint16_t, std::int64_t> origins;
  const auto datagrams = ReadSeed(seed);
  for (const Octets& datagram : datagrams) {
    const auto message = Decode(datagram);
    if (message->timestamp != 0 && message->type != MessageType::DelayResp) {
      origins[message->sequenceId] = message->timestamp;
    }
  }
  for (Octets datagram : datagrams) {
    const auto message = Decode(datagram);
    datagram[4] = domainNumber;
    port.Hear(datagram, {.sourceAddress = {10, 0, 0, 1},
                         .now = now += 50'000'000,
                         .clockTimestamp = origins[message->sequenceId] + 400});
    port.ChooseParent(now);
    while (const auto request = port.TakeDueRequest(now)) {
      // As if it had left 600 ns before it arrives.
      for (const Octets& other : datagrams) {
        const auto response = Decode(other);
        if (response->type != MessageType::DelayResp || response->sequenceId != request->sequenceId) continue;
        port.Follower().DelayReqSent(request->sequenceId, response->timestamp - 600, 0);
      }
    }
  }
  port.Follower().EndInterval();
  return port.Follower().LastMeasurements();
}

TEST(PtpPort, MeasuresWhatItHears) {
  PtpPort twoStep({.portIdentity = ownPort});
  const auto measured = Play(twoStep, "two_step");
  EXPECT_GE(measured.masterToFollowerDelay.Count(), 8);
  EXPECT_EQ(measured.masterToFollowerDelay.Mean(), 400);
  EXPECT_GE(measured.meanPathDelay.Count(), 4);
  EXPECT_EQ(measured.meanPathDelay.Mean(), 500);
  EXPECT_EQ(twoStep.Follower().Parent()->sourceAddress[3], 1);
  EXPECT_EQ(twoStep.Follower().Counters().delayReqReceived, 0U) << "the own ones";

  PtpPort oneStep({.portIdentity = {ownPort.clockIdentity, 2}, .measuresDelay = false});
  EXPECT_EQ(Play(oneStep, "one_step").masterToFollowerDelay.Mean(), 400 - 3) << "the correction field";
  EXPECT_FALSE(oneStep.TakeDueRequest(1'000'000'000'000)) << "it only listens";
  EXPECT_GT(oneStep.Follower().Counters().delayReqReceived, 5U);
  EXPECT_EQ(oneStep.Follower().Counters().delayRespReceived, 0U) << "those of others";

  PtpPort foreign({.portIdentity = ownPort});
  EXPECT_EQ(Play(foreign, "two_step", 0).masterToFollowerDelay.Count(), 0);
  EXPECT_EQ(foreign.Follower().Counters().announceReceived, 0U);
  Play(foreign, "metadata");
  EXPECT_EQ(foreign.Follower().Counters().managementReceived, 2U);
  foreign.Hear(Octets(), {});
  EXPECT_EQ(foreign.Follower().Counters().discarded, 1U);
}

TEST(PtpPort, WantsToBeLookedAfterInTime) {
  PtpPort port({.portIdentity = ownPort});
  EXPECT_GT(port.Deadline(0, true), 60'000'000'000);
  Play(port, "two_step");
  const std::int64_t silent = port.Deadline(0, false);
  EXPECT_EQ(silent, *port.Follower().ReceiptDeadline());
  ptp::AnnounceMessage announce = *port.Follower().Parent();
  int requests = 0;
  std::int64_t now = silent - 1;
  for (const std::int64_t end = now + 100'000'000'000; now < end; now = port.Deadline(now, true)) {
    ++announce.sequenceId;
    port.Follower().HearAnnounce(announce, now);
    requests += port.TakeDueRequest(now).has_value();
  }
  EXPECT_NEAR(requests, 800, 2);

  now = port.Deadline(now, false);
  port.ChooseParent(now);
  EXPECT_EQ(port.Follower().State(), ptp::PortState::Listening);
  EXPECT_GT(port.Deadline(now, true), now + 60'000'000'000);
}

TEST(Configuration, TellsWhatIsWrong) {
  std::map<std::string, std::string> variables;
  const auto read = [&] { return ReadConfiguration([&](const char* name) { return variables[name]; }); };
  variables = {{"ZV_NET_INTERFACES", "eth0,eth1.100"}, {"ZV_NET_DOMAIN", "0"}, {"ZV_NET_PASSIVE", "1"}};
  const auto good = std::get<Configuration>(read());
  EXPECT_EQ(good.interfaces, (std::vector<std::string>{"eth0", "eth1.100"}));
  EXPECT_EQ(good.domainNumber, 0);
  EXPECT_TRUE(good.passive);
  EXPECT_FALSE(good.hardwareClock);

  for (const auto& [name, value] :
       std::multimap<std::string, std::string>{{"ZV_NET_INTERFACES", ""},
                                               {"ZV_NET_INTERFACES", "a,"},
                                               {"ZV_NET_INTERFACES", "a,b,c"},
                                               {"ZV_NET_INTERFACES", std::string(128, 'a')},
                                               {"ZV_NET_DOMAIN", "128"},
                                               {"ZV_NET_DOMAIN", "-1"},
                                               {"ZV_NET_DOMAIN", "1 "},
                                               {"ZV_NET_PASSIVE", "2"},
                                               {"ZV_NET_CLOCK", "PHC"},
                                               {"ZV_NET_LOCK_THRESHOLD", "0"}}) {
    variables = {{"ZV_NET_INTERFACES", "eth0"}};
    variables[name] = value;
    const auto refused = read();
    ASSERT_TRUE(std::holds_alternative<Failure>(refused)) << name << "=" << value;
    EXPECT_EQ(std::get<Failure>(refused).code, ZV_E_INVALID_PARAMETER);
    EXPECT_NE(std::get<Failure>(refused).text.find(name), std::string::npos);
  }
}

}  // namespace
}  // namespace kestrune::network
