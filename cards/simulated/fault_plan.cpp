#include "simulated/fault_plan.h"

#include <algorithm>

namespace kestrune::simulated {

std::optional<HRESULT> FaultPlan::Strike(kit::Operation operation, double time) {
  const std::uint32_t call = ++calls_[static_cast<std::size_t>(operation)];
  const auto fault = std::ranges::find_if(faults_, [&](const Fault& candidate) {
    return candidate.operation == operation && call >= candidate.firstCall &&
           (candidate.lastCall == 0 || call <= candidate.lastCall) && time >= candidate.from &&
           (!candidate.until || time < *candidate.until);
  });
  if (fault == faults_.end()) return std::nullopt;
  return fault->code;
}

}  // namespace kestrune::simulated
