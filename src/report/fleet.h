#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "report/fleet_machine.h"

namespace kestrune::report {

// What shows only when many machines are looked at together.

/// A time in which machines of one domain followed different grandmasters, [from, to), epoch seconds.
struct Disagreement {
  struct Side {
    std::string grandmaster;
    std::vector<std::size_t> machines;  ///< that followed it meanwhile, rising
  };

  std::int64_t from = 0;
  std::int64_t to = 0;
  std::int64_t domain = 0;
  std::vector<Side> sides;  ///< the one with most machines first
};

/// A change of grandmaster reaches the machines one after the other: up to this long, in seconds, they may
/// differ.
inline constexpr std::int64_t shortestDisagreement = 10;

/// Disagreements of more than `shortestDisagreement`, in the order of time.
std::vector<Disagreement> FindDisagreements(const std::vector<Machine>& machines);

/// Episodes of several machines that began together: one cause, as a rule.
struct CommonMoment {
  struct Part {
    std::size_t machine = 0;
    std::size_t episode = 0;
  };

  std::int64_t from = 0;  ///< the first one's begin
  std::int64_t to = 0;    ///< the last one's begin
  std::vector<Part> parts;
  std::size_t machines = 0;  ///< different ones

  Severity SeverityIn(const std::vector<Machine>& all) const;
};

/// Episodes whose begins lie at most this far apart, in seconds, began together.
inline constexpr std::int64_t togetherWithin = 15;

/// Of two machines and more, in the order of time. Starts of recordings are no episodes here.
std::vector<CommonMoment> FindCommonMoments(const std::vector<Machine>& machines);

}  // namespace kestrune::report
