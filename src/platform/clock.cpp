#include "platform/clock.h"

namespace kestrune {
namespace {

class SystemClockImplementation : public Clock {
 public:
  std::int64_t NowTicks() override { return SinceEpoch<Ticks>(); }
  void SleepUntil(std::int64_t ticks) override { detail::SleepUntil(ticks); }
  void SleepFor(std::chrono::milliseconds time) override { detail::SleepFor(time); }
  std::int64_t EpochSeconds() override { return SinceEpoch<std::chrono::seconds>(); }

 private:
  template <class Duration>
  static std::int64_t SinceEpoch() {
    return std::chrono::floor<Duration>(std::chrono::system_clock::now().time_since_epoch()).count();
  }
};

}  // namespace

Clock& SystemClock() {
  // Never destroyed: a thread that outlives main may ask it.
  static auto& clock = *new SystemClockImplementation;
  return clock;
}

std::string LocalTimeText(std::int64_t epochSeconds) {
  std::tm local{};
  if (!detail::ToLocalTime(static_cast<std::time_t>(epochSeconds), local)) return {};
  char text[80];
  // "%F" would say the same, but the run-time library of mingw-w64 doesn't know it.
  return {text, std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local)};
}

std::string LocalTimeText() { return LocalTimeText(SystemClock().EpochSeconds()); }

}  // namespace kestrune
