#include "report/runs.h"

#include <algorithm>

namespace kestrune::report {

void Runs::Change(std::int64_t time, std::int32_t value) {
  if (!runs_.empty()) {
    time = std::max(time, runs_.back().from);
    if (time == runs_.back().from) {
      runs_.back().value = value;
      if (runs_.size() > 1 && runs_[runs_.size() - 2].value == value) runs_.pop_back();
      return;
    }
  }
  if (runs_.size() == limit) {
    ++dropped_;
    return;
  }
  runs_.push_back({time, value});
}

std::int32_t Runs::At(std::int64_t time, std::int32_t before) const {
  const auto behind = std::upper_bound(runs_.begin(), runs_.end(), time,
                                       [](std::int64_t t, const Run& run) { return t < run.from; });
  return behind == runs_.begin() ? before : std::prev(behind)->value;
}

}  // namespace kestrune::report
