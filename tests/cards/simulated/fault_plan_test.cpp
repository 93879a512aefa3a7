#include "simulated/fault_plan.h"

#include <gtest/gtest.h>

#include <vector>

#include "diag/result_codes.h"

namespace kestrune::simulated {
namespace {

using kit::Operation;

TEST(FaultPlan, StrikesByCallAndByTime) {
  const auto at = [](Operation operation, std::uint32_t first, std::uint32_t last, double from,
                     std::optional<double> until) {
    Fault fault;
    fault.operation = operation;
    fault.code = ZV_E_FAIL;
    fault.firstCall = first;
    fault.lastCall = last;
    fault.from = from;
    fault.until = until;
    return fault;
  };
  FaultPlan plan({at(Operation::NextSfp, 2, 2, 0, {}), at(Operation::NextCard, 3, 0, 0, {}),
                  at(Operation::GetSfpIpStatus, 1, 0, 10, 20)});
  const auto strikes = [&](Operation operation, const std::vector<double>& times) {
    std::string struck;
    for (const double time : times) struck += plan.Strike(operation, time) == ZV_E_FAIL ? 'x' : '.';
    return struck;
  };
  EXPECT_EQ(strikes(Operation::NextSfp, {0, 0, 0, 0}), ".x..");
  EXPECT_EQ(strikes(Operation::NextCard, {0, 0, 0, 0}), "..xx");
  EXPECT_EQ(strikes(Operation::GetSfpIpStatus, {9, 10, 19, 20}), ".xx.");
}

}  // namespace
}  // namespace kestrune::simulated
