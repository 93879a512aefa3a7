#include "platform/clock.h"

#include <chrono>
#include <ctime>
#include <ratio>

#if defined(_WIN32)
#include <windows.h>

#include <algorithm>
#else
#include <thread>
#endif

namespace kestrune {
namespace {

using Ticks = std::chrono::duration<std::int64_t, std::ratio<1, ticksPerSecond>>;

class SystemClockImplementation : public Clock {
 public:
  std::int64_t NowTicks() override { return SinceEpoch<Ticks>(); }
  void SleepUntil(std::int64_t ticks) override {
#if defined(_WIN32)
    // The run-time library's own sleep waits on an object, which a sped-up clock under Wine doesn't reach.
    constexpr std::int64_t ticksPerMillisecond = ticksPerSecond / 1000;
    const std::int64_t milliseconds = (ticks - NowTicks() + ticksPerMillisecond - 1) / ticksPerMillisecond;
    if (milliseconds > 0) Sleep(static_cast<DWORD>(std::min<std::int64_t>(milliseconds, INFINITE - 1)));
#else
    std::this_thread::sleep_until(std::chrono::time_point<std::chrono::system_clock, Ticks>(Ticks(ticks)));
#endif
  }
  std::int64_t EpochSeconds() override { return SinceEpoch<std::chrono::seconds>(); }

 private:
  template <class Duration>
  static std::int64_t SinceEpoch() {
    return std::chrono::floor<Duration>(std::chrono::system_clock::now().time_since_epoch()).count();
  }
};

bool ToLocalTime(std::time_t time, std::tm& local) {
#if defined(_WIN32)
  return localtime_s(&local, &time) == 0;
#else
  return localtime_r(&time, &local) != nullptr;
#endif
}

}  // namespace

Clock& SystemClock() {
  static SystemClockImplementation clock;
  return clock;
}

std::string LocalTimeText(std::int64_t epochSeconds) {
  std::tm local{};
  if (!ToLocalTime(static_cast<std::time_t>(epochSeconds), local)) return {};
  char text[80];
  // "%F" would say the same, but the run-time library of mingw-w64 doesn't know it.
  return {text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local)};
}

std::string LocalTimeText() { return LocalTimeText(SystemClock().EpochSeconds()); }

}  // namespace kestrune
