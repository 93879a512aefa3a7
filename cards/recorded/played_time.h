#pragma once

#include <algorithm>
#include <cstdint>

namespace kestrune::recorded {

/// Turns the times of a recording into those of its replay, in seconds since the first one: gaps stay gaps,
/// but where the recording's clock was set back, or shows no time of this calendar, the replay's stands still
/// for that one step and then goes on at the recording's pace.
class PlayedTime {
 public:
  explicit PlayedTime(std::int64_t firstEpoch) : last_(firstEpoch) {}

  static bool InCalendar(std::int64_t epoch) { return epoch > 0 && epoch < 253'402'300'800; }

  std::int64_t Played() const { return played_; }

  std::int64_t GoTo(std::int64_t epoch) {
    if (!InCalendar(epoch)) return played_;
    played_ += std::max<std::int64_t>(epoch - last_, 0);
    last_ = epoch;
    return played_;
  }

 private:
  std::int64_t last_;
  std::int64_t played_ = 0;
};

}  // namespace kestrune::recorded
