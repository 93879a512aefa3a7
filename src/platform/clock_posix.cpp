#include <ctime>
#include <thread>

#include "platform/clock.h"

namespace kestrune {

void detail::SleepUntil(std::int64_t ticks) {
  // Until an absolute time, so that the kernel wakes the sleeper at once when somebody sets the clock past
  // it.
  timespec until{};
  until.tv_sec = static_cast<std::time_t>(ticks / ticksPerSecond);
  until.tv_nsec = static_cast<long>(ticks % ticksPerSecond * (1'000'000'000 / ticksPerSecond));
  clock_nanosleep(CLOCK_REALTIME, TIMER_ABSTIME, &until, nullptr);
}

void detail::SleepFor(std::chrono::milliseconds time) { std::this_thread::sleep_for(time); }

bool detail::ToLocalTime(std::time_t time, std::tm& local) { return localtime_r(&time, &local) != nullptr; }

}  // namespace kestrune
