#include "diag/result_codes.h"

#include <gtest/gtest.h>

namespace kestrune {
namespace {

TEST(ResultCodes, TextsOfKnownAndUnknownCodes) {
  EXPECT_STREQ(GetResultText(0), L"ZV_NOERROR: No error");
  EXPECT_STREQ(GetResultText(1), L"ZV_FALSE: FALSE");
  EXPECT_STREQ(GetResultText(0x89998FFF), L"ZV_E_FAIL: Generic error.");
  EXPECT_STREQ(GetResultText(0x89998044), L"ZV_E_INVALID_PARAMETER: One of the method parameter is invalid.");
  for (const std::uint32_t unknown : {2U, 0x89998000U, 0x89998396U, 0x89999000U, 0xFFFFFFFFU}) {
    EXPECT_STREQ(GetResultText(unknown), L"Unknown error") << std::hex << unknown;
  }
}

}  // namespace
}  // namespace kestrune
