#include "diag/result_codes.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

namespace kestrune {
namespace {

TEST(ResultCodes, EveryCodeHasItsNameAndASentence) {
  std::ifstream names(KESTRUNE_TESTS_FOLDER "/diag/result_code_names.txt");
  std::uint32_t code = 0;
  std::string name;
  int rows = 0;
  for (; names >> std::hex >> code >> name; ++rows) {
    const std::wstring text = GetResultText(code);
    const std::wstring start = std::wstring(name.begin(), name.end()) + L": ";
    EXPECT_TRUE(text.starts_with(start)) << name;
    EXPECT_GT(text.size(), start.size()) << name;
  }
  EXPECT_EQ(rows, 1400);
}

TEST(ResultCodes, GapsAndNeighboursOfTheFamiliesAreUnknown) {
  for (const std::uint32_t unknown : {0x00000002U, 0x09990000U, 0x099900B1U, 0x09991FFFU, 0x0999203DU,
                                      0x89998000U, 0x89998016U, 0x89998396U, 0x89998FFEU, 0x89999000U,
                                      0xA306F016U, 0xE306F015U, 0xE2644101U, 0xEDDD8017U, 0xFFFFFFFFU}) {
    EXPECT_STREQ(GetResultText(unknown), L"Unknown error") << std::hex << unknown;
  }
}

}  // namespace
}  // namespace kestrune
