#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "report/recording.h"

namespace kestrune::report {

/// A grandmaster that the card followed, [from, to), epoch seconds.
struct FollowedStretch {
  std::int64_t from = 0;
  std::int64_t to = 0;
  std::uint64_t grandmaster = 0;  ///< clock identity
  std::uint32_t domain = 0;

  bool SameMaster(const FollowedStretch& other) const {
    return grandmaster == other.grandmaster && domain == other.domain;
  }
};

struct FollowedMasters {
  std::vector<FollowedStretch> first;
  std::uint64_t leftOut = 0;  ///< further stretches
};

/// The grandmasters of the SFP that the card follows, in the order of time, the first `most`; without a log
/// that tells it, those of SFP A, or of SFP B while only that one is locked. Time without telemetry or
/// without a master is in none.
FollowedMasters FindFollowedMasters(const Recording& recording, std::size_t most);

}  // namespace kestrune::report
