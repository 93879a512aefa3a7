#pragma once

#include <cstdint>
#include <ctime>
#include <string>

namespace kestrune {

inline constexpr std::int64_t ticksPerSecond = 10'000'000;

/// The wall clock, for those who must be testable over months. Callable from any thread.
class Clock {
 public:
  virtual ~Clock() = default;

  /// The system clock in ticks of 100 ns. Its zero is the clock's own; only differences and SleepUntil use
  /// it.
  virtual std::int64_t NowTicks() = 0;

  /// Blocks until the clock reads `ticks`; may return early.
  virtual void SleepUntil(std::int64_t ticks) = 0;

  /// Whole seconds since 1970-01-01 UTC.
  virtual std::int64_t EpochSeconds() = 0;
};

/// The operating system's clock.
Clock& SystemClock();

namespace detail {

/// The system clock's Clock::SleepUntil.
void SleepUntil(std::int64_t ticks);

/// False when the calendar doesn't reach that far.
bool ToLocalTime(std::time_t time, std::tm& local);

}  // namespace detail

/// The local time of an instant, as "2026-11-16 03:47:39"; empty when the calendar doesn't reach that far.
std::string LocalTimeText(std::int64_t epochSeconds);

/// The local time of now, in the same form.
std::string LocalTimeText();

}  // namespace kestrune
