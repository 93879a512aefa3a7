#pragma once

#include <chrono>
#include <cstdint>
#include <ctime>
#include <ratio>
#include <string>

namespace kestrune {

inline constexpr std::int64_t ticksPerSecond = 10'000'000;

/// Of 100 ns.
using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, ticksPerSecond>>;

/// The wall clock, for those who must be testable over months. Callable from any thread.
class Clock {
 public:
  virtual ~Clock() = default;

  /// The system clock in ticks since 1970-01-01 UTC.
  virtual std::int64_t NowTicks() = 0;

  /// Blocks until the clock reads `ticks`; may return early.
  virtual void SleepUntil(std::int64_t ticks) = 0;

  /// Blocks for so long, however the clock is set meanwhile; may return early. A clock that is made to run
  /// faster shortens it, which it may not do to a wait with a time-out.
  virtual void SleepFor(std::chrono::milliseconds time) = 0;

  /// Whole seconds since 1970-01-01 UTC.
  virtual std::int64_t EpochSeconds() = 0;
};

/// The operating system's clock.
Clock& SystemClock();

namespace detail {

/// The system clock's Clock::SleepUntil.
void SleepUntil(std::int64_t ticks);

/// Its Clock::SleepFor.
void SleepFor(std::chrono::milliseconds time);

/// False when the calendar doesn't reach that far.
bool ToLocalTime(std::time_t time, std::tm& local);

}  // namespace detail

/// The local time of an instant, as "2026-11-16 03:47:39"; empty when the calendar doesn't reach that far.
std::string LocalTimeText(std::int64_t epochSeconds);

/// The local time of now, in the same form.
std::string LocalTimeText();

}  // namespace kestrune
