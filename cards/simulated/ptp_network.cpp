#include "simulated/ptp_network.h"

#include <tuple>

namespace kestrune::simulated {

bool IsBetter(const MasterDataSet& left, const MasterDataSet& right) {
  const auto quality = [](const MasterDataSet& set) {
    return std::tie(set.priority1, set.clockClass, set.clockAccuracy, set.offsetScaledLogVariance,
                    set.priority2, set.grandmasterIdentity);
  };
  const auto topology = [](const MasterDataSet& set) {
    return std::tie(set.stepsRemoved, set.senderIdentity);
  };
  if (left.grandmasterIdentity == right.grandmasterIdentity) return topology(left) < topology(right);
  return quality(left) < quality(right);
}

PtpNetwork::PtpNetwork(const std::vector<Grandmaster>& grandmasters) {
  masters_.reserve(grandmasters.size());
  for (const Grandmaster& grandmaster : grandmasters) masters_.push_back(MakeMaster(grandmaster));
}

void PtpNetwork::Change(std::size_t master, const Grandmaster& attributes) {
  const bool present = masters_.at(master).present;
  masters_[master] = MakeMaster(attributes);
  masters_[master].present = present;
}

PtpNetwork::Master PtpNetwork::MakeMaster(const Grandmaster& grandmaster) {
  Master master;
  master.dataSet = {
      .grandmasterIdentity = grandmaster.clockIdentity,
      .senderIdentity =
          grandmaster.portClockIdentity != 0 ? grandmaster.portClockIdentity : grandmaster.clockIdentity,
      .ipv4 = grandmaster.ipv4,
      .priority1 = grandmaster.priority1,
      .clockClass = grandmaster.clockClass,
      .clockAccuracy = grandmaster.clockAccuracy,
      .priority2 = grandmaster.priority2,
      .timeSource = grandmaster.timeSource,
      .twoStep = grandmaster.twoStep,
      .offsetScaledLogVariance = grandmaster.offsetScaledLogVariance,
      .stepsRemoved = grandmaster.stepsRemoved,
      .currentUtcOffset = grandmaster.currentUtcOffset,
  };
  master.reachable = grandmaster.reachable;
  master.present = grandmaster.present;
  master.timeErrorNs = grandmaster.timeErrorNs;
  return master;
}

}  // namespace kestrune::simulated
