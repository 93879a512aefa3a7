#include "monitor/event_documents.h"

#include <gtest/gtest.h>

#include "files/code_texts.h"
#include "support/test_run.h"

namespace kestrune {
namespace {

TEST(EventDocuments, UnknownCodesArePrintedAndGetTheFallback) {
  const test::ConsoleCapture console;
  EXPECT_EQ(GenlockStateText(0), "invalid");
  EXPECT_EQ(GenlockSourceText(0), "invalid or irrelevent");
  EXPECT_EQ(GenlockFrameRateText(9), "invalid");
  EXPECT_EQ(GenlockFrameRateText(7), "invalid");
  EXPECT_EQ(SfpLabelText(2), "invalid");
  EXPECT_EQ(St2059StateText(-1), "invalid");
  EXPECT_EQ(BestMasterSelectionText(0), "invalid");
  EXPECT_EQ(EventLogTypeText(EventLogType{99}), "Invalid");
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
