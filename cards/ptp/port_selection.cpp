#include "ptp/port_selection.h"

#include "ptp/data_set.h"

namespace kestrune::ptp {
namespace {

bool Precedes(const Follower& left, const Follower& right) {
  if (left.Parent() == nullptr || right.Parent() == nullptr) return left.Parent() != nullptr;
  if (left.Calibrated() != right.Calibrated()) return left.Calibrated();
  if (IsBetter(*left.Parent(), *right.Parent())) return true;
  if (IsBetter(*right.Parent(), *left.Parent())) return false;
  return left.State() == PortState::FollowerLocked && right.State() != PortState::FollowerLocked;
}

}  // namespace

std::size_t SelectPort(const std::array<const Follower*, 2>& ports, std::size_t selected) {
  if (ports[0]->Parent() == nullptr && ports[1]->Parent() == nullptr) return selected;
  return Precedes(*ports[1], *ports[0]) ? 1 : 0;
}

}  // namespace kestrune::ptp
