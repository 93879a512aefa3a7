#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <variant>
#include <vector>

#include "network/failure.h"

namespace kestrune::network {

/// What the environment variables ZV_NET_… ask for.
struct Configuration {
  std::vector<std::string> interfaces;  ///< one or two, the first for SFP A; or alternative names of theirs
  std::uint8_t domainNumber = 127;      ///< 0 to 127
  bool passive = false;                 ///< sends nothing
  bool hardwareClock = false;           ///< the interface's clock stamps, not the system's
  double lockThreshold = 100'000;       ///< nanoseconds
};

/// `variable` gives the value of an environment variable; an empty one leaves the default.
std::variant<Configuration, Failure> ReadConfiguration(
    const std::function<std::string(const char* name)>& variable);

}  // namespace kestrune::network
