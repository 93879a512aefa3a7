#include "network/wire.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "seeds.h"

namespace kestrune::network {
namespace {

using Texts = std::vector<std::string>;

constexpr const char* seeds[] = {"two_step", "one_step", "peer_delay", "management", "metadata"};

/// As packets of UDP over IPv4 in a capture file.
void WriteCapture(const std::string& path, const std::vector<Octets>& datagrams) {
  std::ofstream file(path, std::ios::binary);
  const auto word = [&](std::uint32_t value) {
    for (int octet = 0; octet < 4; ++octet) file.put(static_cast<char>(value >> (8 * octet)));
  };
  for (const std::uint32_t value : {0xA1B2C3D4U, 0x00040002U, 0U, 0U, 65535U, 101U}) word(value);
  for (const Octets& datagram : datagrams) {
    const auto size = static_cast<std::uint8_t>(datagram.size() + 28);  // of these seeds, below 256
    const auto udpSize = static_cast<std::uint8_t>(datagram.size() + 8);
    for (const std::uint32_t value : {0U, 0U, std::uint32_t{size}, std::uint32_t{size}}) word(value);
    const Octets headers{0x45, 0, 0,   size, 0, 0,   0, 0,  1, 17, 0, 0,       10, 0,
                         0,    1, 224, 0,    1, 129, 1, 64, 1, 64, 0, udpSize, 0,  0};
    for (const Octets& part : {headers, datagram}) {
      file.write(reinterpret_cast<const char*>(part.data()), static_cast<std::streamsize>(part.size()));
    }
  }
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

void ExpectRead(const std::vector<Octets>& datagrams, const Texts& lines) {
  ASSERT_FALSE(datagrams.empty());
  ASSERT_EQ(lines.size(), datagrams.size());
  for (std::size_t place = 0; place < lines.size(); ++place) {
    const auto message = Decode(datagrams[place]);
    ASSERT_TRUE(message) << lines[place];
    for (const std::string& piece : Pieces(*message)) EXPECT_THAT(lines[place], testing::HasSubstr(piece));
  }
}

TEST(Wire, ReadsMessagesAsTcpdumpDoes) {
  if (std::system("tcpdump --version >/dev/null 2>&1") != 0) GTEST_SKIP() << "tcpdump isn't installed";
  for (const char* const seed : seeds) {
    SCOPED_TRACE(seed);
    const auto datagrams = ReadSeed(seed);
    const std::string path = testing::TempDir() + "kestrune_" + seed + ".pcap";
    WriteCapture(path, datagrams);
    const auto lines = Describe(path);
    std::remove(path.c_str());
    ExpectRead(datagrams, lines);
  }
}

/// The PTP messages in a capture of Ethernet frames, as a little-endian machine has written it.
std::vector<Octets> ReadCapture(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  Octets header(24);
  std::vector<Octets> datagrams;
  const auto read = [&](Octets& octets) {
    return file.read(reinterpret_cast<char*>(octets.data()), static_cast<std::streamsize>(octets.size()))
        .good();
  };
  for (read(header), header.resize(16); read(header);) {
    Octets frame(header[8] + 256U * header[9]);  // below 64 kB
    if (!read(frame)) break;
    const bool isIpv4 = frame.at(12) == 0x08 && frame.at(13) == 0x00;
    datagrams.emplace_back(frame.begin() + (isIpv4 ? 14 + 4 * (frame[14] & 0xF) + 8 : 14), frame.end());
  }
  return datagrams;
}

/// KESTRUNE_CAPTURES names a folder of them, each with tcpdump's text beside it: tcpdump's sources have some.
TEST(Wire, ReadsCapturesAsTcpdumpDoes) {
  const char* const folder = std::getenv("KESTRUNE_CAPTURES");
  if (folder == nullptr) GTEST_SKIP() << "KESTRUNE_CAPTURES names no folder";
  for (const char* const name : {"ptp", "ptp_corrections", "ptp_ethernet"}) {
    SCOPED_TRACE(name);
    const auto path = std::filesystem::path(folder) / name;
    std::ifstream text(path.string() + ".out");
    Texts lines;
    for (std::string line; std::getline(text, line);) lines.push_back(line);
    ExpectRead(ReadCapture(path.string() + ".pcap"), lines);
  }
}

TEST(Wire, RefusesWhatIsCutShortOrNonsense) {
  for (const char* const seed : seeds) {
    for (const Octets& datagram : ReadSeed(seed)) {
      for (std::size_t size = 0; size < datagram.size(); ++size) {
        EXPECT_FALSE(Decode(std::span(datagram).first(size)));
      }
    }
  }
  const auto decodes = [announce = ReadSeed("metadata").front()](std::size_t octet, std::uint8_t value) {
    Octets changed = announce;
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
