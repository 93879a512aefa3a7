#include "convert/raw_data_conversion.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "convert/record_text.h"
#include "files/raw_data.h"

namespace kestrune {
namespace {

/// A unit that says nothing on the console.
RawDataUnit QuietUnit() {
  RawDataUnit unit{};
  unit.record.state = 10;
  unit.record.linkSpeed = 1;
  return unit;
}

/// Quiet units, each with its own time.
std::string Units(int count) {
  std::string bytes;
  for (int i = 0; i < count; ++i) {
    RawDataUnit unit = QuietUnit();
    unit.epochTime = 1000 + i;
    bytes.append(reinterpret_cast<const char*>(&unit), sizeof unit);
  }
  return bytes;
}

TEST(RawDataConversion, EveryUnitOnceAndInOrder) {
  for (const int count : {0, 1, 31, 32, 33, 1500}) {
    std::istringstream source(Units(count) + "added meanwhile");
    std::stringstream destination;
    EXPECT_EQ(ConvertUnits(source, count * 1024, "heading\n", destination), ConversionResult::Completed);
    std::string line;
    ASSERT_TRUE(std::getline(destination, line) && line == "heading");
    int lines = 0;
    for (; std::getline(destination, line); ++lines) {
      ASSERT_TRUE(line.starts_with(std::to_string(1000 + lines) + ",0,")) << line;
    }
    EXPECT_EQ(lines, count);
  }
}

/// The text of one announce block of the unit, from its value `first` on.
std::string AnnounceText(const RawDataUnit& unit, std::size_t first) {
  std::string line(longestLine, ' ');
  line.resize(WriteLine(unit, std::span(line).first<longestLine>()));
  std::istringstream values(line);
  std::string value, text;
  for (std::size_t i = 0; i < first + 19 && std::getline(values, value, ','); ++i) {
    if (i >= first) text += value + ',';
  }
  return text;
}

TEST(RawDataConversion, MastersInTheListLikeTheBestOne) {
  const PtpAnnounceInfo empty{};
  PtpAnnounceInfo best{};
  best.masterIPv4Address[0] = 192;
  best.masterClockId[7] = 1;
  best.timeSource = 160;
  PtpAnnounceInfo otherBegin = best;
  otherBegin.masterIPv4Address[0] = 193;
  PtpAnnounceInfo otherEnd = best;
  otherEnd.timeSource = 161;
  PtpAnnounceInfo notQuiteEmpty{};
  notQuiteEmpty.timeSource = 0x0100'0000;

  std::vector<PtpAnnounceInfo> masters{best, empty, otherBegin, notQuiteEmpty, otherEnd};
  for (std::size_t turn = 0; turn < masters.size(); ++turn) {
    RawDataUnit unit = QuietUnit();
    unit.record.bestMasterLastPtpAnnouncePacket = best;
    std::ranges::copy(masters, unit.record.listOfPtpMaster);
    for (std::size_t i = 0; i < masters.size(); ++i) {
      RawDataUnit alone = QuietUnit();
      alone.record.bestMasterLastPtpAnnouncePacket = masters[i];
      EXPECT_EQ(AnnounceText(unit, 83 + 19 * i), AnnounceText(alone, 2)) << turn << ": " << i;
    }
    std::rotate(masters.begin(), masters.begin() + 1, masters.end());
  }
}

}  // namespace
}  // namespace kestrune
