#include "network/wire.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace kestrune::network {
namespace {

using Octets = std::vector<std::uint8_t>;
using Texts = std::vector<std::string>;

/// What ptp4l has sent, and a few messages that it never sends.
const std::string ownCapture = KESTRUNE_SOURCE_FOLDER "/tests/cards/network/messages.pcap";

/// The PTP messages in a capture of Ethernet frames, as a little-endian machine has written it.
std::vector<Octets> ReadCapture(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const Octets all{std::istreambuf_iterator<char>(file), {}};
  std::vector<Octets> datagrams;
  for (auto at = all.begin() + 24; at < all.end();) {
    const auto frame = at + 16;
    at = frame + at[8] + 256 * at[9];  // below 64 kB
    const bool isIpv4 = frame[12] == 0x08 && frame[13] == 0x00;
    datagrams.emplace_back(frame + (isIpv4 ? 14 + 4 * (frame[14] & 0xF) + 8 : 14), at);
  }
  return datagrams;
}

/// What tcpdump says of each packet of a capture file.
Texts Describe(const std::string& path) {
  Texts lines;
  std::FILE* const pipe = popen(("tcpdump -vvv -n -r " + path + " 2>/dev/null").c_str(), "r");
  char text[4096];
  while (std::fgets(text, sizeof text, pipe) != nullptr) {
    if (std::string(text).find("PTPv2") != std::string::npos) lines.emplace_back(text);
  }
  pclose(pipe);
  return lines;
}

template <class... Values>
std::string Text(const char* format, Values... values) {
  char text[512];
  std::snprintf(text, sizeof text, format, values...);
  return text;
}

/// The message in tcpdump's words, piece by piece.
Texts Pieces(const Message& message) {
  const char* const names[]{
      "sync", "delay req", "peer delay req", "peer delay resp", "",         "",           "",
      "",     "follow up", "delay resp",     "pdelay resp fup", "announce", "signalling", "management"};
  Texts pieces{Text("msg type : %s msg", names[static_cast<std::size_t>(message.type)]),
               Text("domain : %u,", message.domainNumber),
               Text("NS correction : %" PRId64 ", sub NS correction : %" PRId64 ",", message.Correction(),
                    message.correctionField & 0xFFFF),
               Text("clock identity : 0x%" PRIx64 ", port id : %u, seq id : %u,",
                    message.sourcePortIdentity.clockIdentity, message.sourcePortIdentity.portNumber,
                    message.sequenceId),
               Text("log message interval : %u", static_cast<std::uint8_t>(message.logMessageInterval))};
  if (message.type < MessageType::Signaling) {
    pieces.push_back(Text("imeStamp : %" PRId64 " seconds", message.timestamp / 1'000'000'000));
    pieces.push_back(Text(" %" PRId64 " nanoseconds", message.timestamp % 1'000'000'000));
  }
  if (message.requestingPortIdentity.clockIdentity != 0) {
    pieces.push_back(Text(" port identity : 0x%" PRIx64 ", port id : %u",
                          message.requestingPortIdentity.clockIdentity,
                          message.requestingPortIdentity.portNumber));
  }
  if (message.type != MessageType::Announce) return pieces;
  const ptp::AnnounceMessage& announce = message.announce;
  pieces.push_back(Text("origin cur utc :%d,", announce.currentUtcOffset));
  pieces.push_back(
      Text("gm priority_1 : %u, gm clock class : %u, gm clock accuracy : %u, gm clock variance : %u, "
           "gm priority_2 : %u, gm clock id : 0x%" PRIx64 ", steps removed : %u, time source : 0x%02x",
           announce.grandmasterPriority1, announce.grandmasterClockClass, announce.grandmasterClockAccuracy,
           announce.grandmasterOffsetScaledLogVariance, announce.grandmasterPriority2,
           announce.grandmasterIdentity, announce.stepsRemoved, announce.timeSource));
  return pieces;
}

/// KESTRUNE_CAPTURES names a folder of more: tcpdump's sources have some.
TEST(Wire, ReadsCapturesAsTcpdumpDoes) {
  if (std::system("tcpdump --version >/dev/null 2>&1") != 0) GTEST_SKIP() << "tcpdump isn't installed";
  Texts paths{ownCapture};
  if (const char* const folder = std::getenv("KESTRUNE_CAPTURES")) {
    for (const char* const name : {"ptp", "ptp_corrections", "ptp_ethernet"}) {
      paths.push_back(folder + Text("/%s.pcap", name));
    }
  }
  for (const std::string& path : paths) {
    SCOPED_TRACE(path);
    const auto datagrams = ReadCapture(path);
    const auto lines = Describe(path);
    ASSERT_FALSE(datagrams.empty());
    ASSERT_EQ(lines.size(), datagrams.size());
    for (std::size_t place = 0; place < lines.size(); ++place) {
      const auto message = Decode(datagrams[place]);
      ASSERT_TRUE(message) << lines[place];
      for (const std::string& piece : Pieces(*message)) EXPECT_THAT(lines[place], testing::HasSubstr(piece));
    }
  }
}

TEST(Wire, RefusesWhatIsCutShortOrNonsense) {
  const auto datagrams = ReadCapture(ownCapture);
  for (const Octets& datagram : datagrams) {
    for (std::size_t size = 0; size < datagram.size(); ++size) {
      EXPECT_FALSE(Decode(std::span(datagram).first(size)));
    }
  }
  const auto decodes = [&](std::size_t octet, std::uint8_t value) {
    Octets changed = datagrams.front();  // an Announce
    changed.at(octet) = value;
    return Decode(changed).has_value();
  };
  EXPECT_TRUE(decodes(1, 0x12)) << "minor version 1";
  EXPECT_FALSE(decodes(1, 1)) << "version 1";
  EXPECT_FALSE(decodes(0, 0x05)) << "a type that there is not";
  EXPECT_FALSE(decodes(3, 63)) << "too short for an Announce";
  EXPECT_FALSE(decodes(35, 0xFF)) << "a time far beyond";
  EXPECT_FALSE(decodes(40, 0x3C)) << "more than a second's nanoseconds";
  EXPECT_EQ(EncodeDelayReq({0x0200'00FF'FE00'0F01, 0xFE01}, 127, 0x1234),
            (DelayReqOctets{1, 2, 0, 44, 127, 0, 0,    0,    0, 0,  0, 0,    0, 0,    0,    0, 0,
                            0, 0, 0, 2,  0,   0, 0xFF, 0xFE, 0, 15, 1, 0xFE, 1, 0x12, 0x34, 1, 0x7F}));
}

}  // namespace
}  // namespace kestrune::network
