#include "monitor/event_documents.h"

#include <gtest/gtest.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "files/code_texts.h"
#include "platform/clock.h"
#include "support/test_run.h"

namespace kestrune {
namespace {

/// The document as compact text, without its two members of time.
std::string Text(const rapidjson::Document& document) {
  rapidjson::StringBuffer buffer;
  rapidjson::Writer<rapidjson::StringBuffer> writer(buffer);
  document.Accept(writer);
  const std::string text = buffer.GetString();
  return text.substr(std::min(text.find("\"Event log type\""), text.size()));
}

TEST(EventDocuments, MembersStandInOrder) {
  EXPECT_EQ(Text(BuildStartEndDocument(EventLogType::StartOfMonitoring)),
            R"("Event log type":"start of monitoring"})");
  EXPECT_EQ(Text(BuildStartEndDocument(EventLogType::EndOfMonitoring)),
            R"("Event log type":"end of monitoring"})");

  auto genlock = MakeRecord<GenlockStatus>();
  genlock.state = 4;
  EXPECT_EQ(Text(BuildGenlockStatusDocument(genlock)),
            R"("Event log type":"genlock status","Genlock state":"recovering"})");

  auto settings = MakeRecord<GenlockSettings>();
  settings.source = 128;
  settings.resolutionFrameRate = 10;
  EXPECT_EQ(
      Text(BuildGenlockSettingsDocument(settings)),
      R"("Event log type":"genlock settings","Genlock source":"ST2059","Genlock resolution frame rate":"60M"})");

  auto st2059 = MakeRecord<St2059Status>();
  st2059.state = 9;
  st2059.bestMasterSfp = 2;
  st2059.bestMasterClockId = 255;
  auto st2059Settings = MakeRecord<St2059Settings>();
  st2059Settings.bestMasterSfpSelection = 3;
  EXPECT_EQ(
      Text(BuildSt2059Document(st2059, st2059Settings)),
      R"("Event log type":"ST2059 status/settings","State":"follower unlocked","Best master SFP":"SFP B",)"
      R"("Best master clock ID":"0xff","Grand master clock ID":"0x0","Best master SFP selection":"SFP B"})");

  auto sfpIp = MakeRecord<SfpIpStatus>();
  sfpIp.modulePresent = 2;
  sfpIp.transmitError = 1;
  EXPECT_EQ(
      Text(BuildSfpIpStatusDocument(1, sfpIp)),
      R"("Event log type":"SFP IP status","SFP":"SFP A","Module present":"true","Signal present":"false","Transmit error":"true"})");

  auto sfp = MakeRecord<St2059SfpStatus>();
  sfp.bestMasterClockId = 0x001DC1FFFE123456;
  sfp.grandMasterClockId = UINT64_MAX;
  sfp.offsetFromMaster = -5;
  sfp.averageMeanPathDelay = INT32_MAX;
  sfp.lastCorrection.seconds = -1;
  sfp.lastCorrection.nanoseconds = INT32_MIN;
  sfp.state = 10;
  EXPECT_EQ(
      Text(BuildSfpSt2059Document(2, sfp)),
      R"("Event log type":"SFP ST2059 telemetry","SFP":"SFP B","Best master clock ID":"0x1dc1fffe123456",)"
      R"("Grand master clock ID":"0xffffffffffffffff","Offset from master":-5,"Average mean path delay":2147483647,)"
      R"("Last correction":{"seconds":-1,"nanoseconds":-2147483648},"State":"follower locked"})");
}

TEST(EventDocuments, TimeIsTheWallClocks) {
  const auto before = SystemClock().EpochSeconds();
  const auto document = BuildStartEndDocument(EventLogType::StartOfMonitoring);
  const auto after = SystemClock().EpochSeconds();
  ASSERT_EQ(document.MemberCount(), 3U);
  EXPECT_STREQ(document.MemberBegin()->name.GetString(), "Time");
  const auto epoch = document["Epoch time"].GetInt64();
  EXPECT_LE(before, epoch);
  EXPECT_LE(epoch, after);
  EXPECT_EQ(document["Time"].GetString(), LocalTimeText(epoch));
}

TEST(EventDocuments, UnknownCodesArePrintedAndGetTheFallback) {
  const test::ConsoleCapture console;
  EXPECT_EQ(GenlockStateText(0), "invalid");
  EXPECT_EQ(GenlockSourceText(0), "invalid or irrelevent");
  EXPECT_EQ(GenlockFrameRateText(9), "invalid");
  EXPECT_EQ(GenlockFrameRateText(7), "invalid");
  EXPECT_EQ(SfpLabelText(2), "invalid");
  EXPECT_EQ(St2059StateText(-1), "invalid");
  EXPECT_EQ(BestMasterSelectionText(0), "invalid");
  EXPECT_EQ(EventLogTypeText(EventLogType{8}), "Invalid");
  EXPECT_EQ(BuildStartEndDocument(EventLogType::GenlockStatus).MemberCount(), 0U);
  BuildSfpIpStatusDocument(0, MakeRecord<SfpIpStatus>());

  const std::string code = " : ZV_E_INVALID_PARAMETER: One of the method parameter is invalid.";
  EXPECT_EQ(
      console.LinesWithoutTime(),
      (std::vector<std::string>{": Invalid genlock state" + code,
                                ": Invalid or irrelevent genlock source for IP boardsstate" + code,
                                ": Invalid genlock resolution frame rate" + code,
                                ": Invalid genlock resolution frame rate" + code,
                                ": Invalid SFP index" + code, ": Invalid ST2059 state" + code,
                                ": Invalid ST2059 best master selection" + code, ": Invalid log type" + code,
                                ": Invalid event log type for starting and stopping monitoring" + code,
                                ": Invalid SFP index" + code}));
}

}  // namespace
}  // namespace kestrune
