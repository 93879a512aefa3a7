#include <windows.h>

#include <algorithm>

#include "platform/clock.h"

namespace kestrune {

void detail::SleepUntil(std::int64_t ticks) {
  // In pieces, since nothing wakes a sleeper when somebody sets the clock. Not the run-time library's own
  // sleep: it waits on an object, which a sped-up clock under Wine doesn't reach.
  constexpr std::int64_t ticksPerMillisecond = ticksPerSecond / 1000;
  constexpr std::int64_t longestPiece = 60'000;
  const std::int64_t milliseconds =
      (ticks - SystemClock().NowTicks() + ticksPerMillisecond - 1) / ticksPerMillisecond;
  if (milliseconds > 0) Sleep(static_cast<DWORD>(std::min(milliseconds, longestPiece)));
}

void detail::SleepFor(std::chrono::milliseconds time) { Sleep(static_cast<DWORD>(time.count())); }

bool detail::ToLocalTime(std::time_t time, std::tm& local) { return localtime_s(&local, &time) == 0; }

}  // namespace kestrune
