#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "simulated/scenario.h"

namespace kestrune::simulated {

/// Counts the calls of each operation and tells which of them fail. Any thread calls.
class FaultPlan {
 public:
  explicit FaultPlan(std::vector<Fault> faults) : faults_(std::move(faults)) {}

  /// Counts a call made at a scenario time in seconds; the code that it is to return, or none when it is to
  /// do its work. The first fitting fault of the list decides.
  std::optional<HRESULT> Strike(kit::Operation operation, double time);

 private:
  const std::vector<Fault> faults_;
  std::array<std::atomic<std::uint32_t>, kit::operationCount> calls_{};
};

}  // namespace kestrune::simulated
