#pragma once

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>

namespace kestrune::simulated {

// What the simulated card needs of the operating system; one source file for each.

/// The wall clock that paces a scenario. Any thread calls.
class Clock {
 public:
  virtual ~Clock() = default;
  virtual std::chrono::system_clock::time_point Now() = 0;
  virtual void SleepFor(std::chrono::milliseconds time) = 0;
};

/// The system's clock. Its sleep follows a clock that is made to run faster, which a wait with a time-out may
/// not.
std::shared_ptr<Clock> MakeSystemClock();

/// The UTF-8 path that the environment variable ZV_SIM_SCENARIO gives; empty: none.
std::string ScenarioPath();

/// Opens the file with this UTF-8 path for reading; null when it can't be.
std::FILE* OpenForReading(const std::string& path);

}  // namespace kestrune::simulated
