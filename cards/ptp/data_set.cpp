#include "ptp/data_set.h"

#include <tuple>

namespace kestrune::ptp {

bool IsBetter(const AnnounceMessage& left, const AnnounceMessage& right) {
  const auto quality = [](const AnnounceMessage& set) {
    return std::tie(set.grandmasterPriority1, set.grandmasterClockClass, set.grandmasterClockAccuracy,
                    set.grandmasterOffsetScaledLogVariance, set.grandmasterPriority2,
                    set.grandmasterIdentity);
  };
  const auto topology = [](const AnnounceMessage& set) {
    return std::tie(set.stepsRemoved, set.sourcePortIdentity.clockIdentity,
                    set.sourcePortIdentity.portNumber);
  };
  if (left.grandmasterIdentity == right.grandmasterIdentity) return topology(left) < topology(right);
  return quality(left) < quality(right);
}

}  // namespace kestrune::ptp
