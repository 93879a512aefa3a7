#pragma once

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>

namespace kestrune::kit {

// What a card services library needs of the operating system; one source file for each.

/// The wall clock that paces a card. Any thread calls.
class Clock {
 public:
  virtual ~Clock() = default;
  virtual std::chrono::system_clock::time_point Now() = 0;
  virtual void SleepFor(std::chrono::milliseconds time) = 0;
};

/// The system's clock. Its sleep follows a clock that is made to run faster, which a wait with a time-out may
/// not.
std::shared_ptr<Clock> MakeSystemClock();

/// The environment variable's value in UTF-8; empty: none.
std::string EnvironmentText(const char* name);

/// Opens the file with this UTF-8 path for reading; null when it can't be.
std::FILE* OpenForReading(const std::string& path);

}  // namespace kestrune::kit
