#include "report/runs.h"

#include <algorithm>

namespace kestrune::report {

void Runs::Change(std::int64_t time, std::int32_t value) {
  auto from = static_cast<std::uint32_t>(std::clamp<std::int64_t>(time, 0, UINT32_MAX));
  if (!runs_.empty()) {
    from = std::max(from, runs_.back().from);
    if (from == runs_.back().from) {
      runs_.back().value = value;
      if (runs_.size() > 1 && runs_[runs_.size() - 2].value == value) runs_.pop_back();
      return;
    }
  }
  if (runs_.size() == limit_) {
    ++dropped_;
    return;
  }
  runs_.push_back({from, value});
}

std::int32_t Runs::At(std::int64_t time, std::int32_t before) const {
  const auto behind = std::upper_bound(runs_.begin(), runs_.end(), time,
                                       [](std::int64_t t, const Run& run) { return t < run.from; });
  return behind == runs_.begin() ? before : std::prev(behind)->value;
}

}  // namespace kestrune::report
