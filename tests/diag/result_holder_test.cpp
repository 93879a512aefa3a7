#include "diag/result_holder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/trace.h"

namespace kestrune {
namespace {

struct TraceCall {
  std::uint64_t logger;
  std::uint32_t flags;
  GUID guid;
  std::uint16_t number;
  std::wstring text;
};

std::vector<TraceCall> traced;

void KeepTrace(std::uint64_t logger, std::uint32_t flags, const GUID& guid, std::uint16_t number,
               const void* argument, std::size_t size) {
  std::wstring text(size / sizeof(wchar_t), L'\0');
  std::memcpy(text.data(), argument, size);
  traced.push_back({logger, flags, guid, number, text});
}

class TracedResultHolder : public testing::Test {
 protected:
  TracedResultHolder() {
    traced.clear();
    traceControl = &provider_;
  }
  ~TracedResultHolder() override { traceControl = nullptr; }

  TraceProvider provider_{0x1234, 1, 4, KeepTrace};
};

/// Windows software tracing takes a message of a session that nobody has started; elsewhere nothing happens.
TEST_F(TracedResultHolder, TracesToTheSystemWithoutASinkOfItsOwn) {
  provider_.sink = nullptr;
  EXPECT_TRUE(ResultHolder(ZV_E_FAIL).Failed());
  EXPECT_TRUE(traced.empty());
}

TEST_F(TracedResultHolder, TracesWhatFailsAndIsNotTolerated) {
  ResultHolder result;
  result = ZV_FALSE;
  result.AssignQuietly(ZV_E_END_OF_ENUM);
  EXPECT_TRUE(traced.empty());

  result = ZV_E_INVALID_PARAMETER;
  ASSERT_EQ(traced.size(), 1U);
  EXPECT_EQ(traced[0].logger, 0x1234U);
  EXPECT_EQ(traced[0].flags, 0x2BU);
  constexpr GUID guid = {0xD69098CD, 0x3D8E, 0x3B6A, {0x0E, 0x79, 0x8E, 0x51, 0xE1, 0xE4, 0x5F, 0xC9}};
  EXPECT_TRUE(IsEqualGUID(traced[0].guid, guid));
  EXPECT_EQ(traced[0].number, 10);
  const std::wstring text = L"ZV_E_INVALID_PARAMETER: One of the method parameter is invalid.";
  EXPECT_EQ(traced[0].text, text + L'\0');  // the terminator counts

  const ResultHolder copy = result;
  EXPECT_EQ(traced.size(), 2U);

  result.Tolerate(ZV_E_FAIL);
  result = ZV_E_FAIL;
  ResultHolder tolerating = result;
  tolerating = ZV_E_FAIL;
  EXPECT_EQ(traced.size(), 2U) << "the set goes with the copy and stays when a code is assigned";
  tolerating = copy;
  EXPECT_EQ(traced.size(), 3U);
  tolerating = ZV_E_FAIL;
  EXPECT_EQ(traced.size(), 4U) << "assigning a holder takes over its set: none";
}

TEST_F(TracedResultHolder, TracesOnlyWhenEnabledAtItsLevel) {
  provider_.enableFlags = 2;
  const ResultHolder otherFlag(ZV_E_FAIL);
  provider_.enableFlags = 3;
  provider_.level = 3;
  const ResultHolder lowLevel(ZV_E_FAIL);
  traceControl = nullptr;
  const ResultHolder unregistered(ZV_E_FAIL);
  EXPECT_TRUE(traced.empty());
  provider_.level = 5;
  traceControl = &provider_;
  const ResultHolder verbose(ZV_E_FAIL);
  EXPECT_EQ(traced.size(), 1U);
}

}  // namespace
}  // namespace kestrune
