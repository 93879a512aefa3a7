#include "recorded/card_state.h"

#include <cstring>
#include <tuple>

namespace kestrune::recorded {
namespace {

std::uint64_t Identity(const std::uint8_t (&octets)[8]) {
  std::uint64_t identity = 0;
  for (const std::uint8_t octet : octets) identity = identity << 8 | octet;
  return identity;
}

template <class Record>
bool Differ(const Record& left, const Record& right) {
  return std::memcmp(&left, &right, sizeof(Record)) != 0;
}

bool FollowersDiffer(const St2059SfpStatus& left, const St2059SfpStatus& right) {
  const auto shown = [](const St2059SfpStatus& status) {
    return std::tie(status.state, status.bestMasterClockId, status.grandMasterClockId);
  };
  return shown(left) != shown(right);
}

}  // namespace

void ApplyToSfp(const TelemetryRecord& record, CardState& state) {
  if (record.sfp >= state.st2059Sfps.size()) return;
  St2059SfpStatus& sfp = state.st2059Sfps[record.sfp];
  sfp.bestMasterClockId = Identity(record.bestMasterClockId);
  sfp.grandMasterClockId = Identity(record.bestMasterLastPtpAnnouncePacket.grandmasterIdentity);
  sfp.offsetFromMaster = record.offsetFromMaster;
  sfp.averageMeanPathDelay = record.averagePathDelay;
  sfp.lastCorrection = record.lastCorrection;
  sfp.state = record.state;
}

void Apply(const TelemetryRecord& record, CardState& state) {
  if (record.sfp >= state.st2059Sfps.size()) return;
  ApplyToSfp(record, state);
  state.sfpIps[record.sfp].modulePresent = 1;
  state.sfpIps[record.sfp].signalPresent = record.linkReceiveRate != 0;

  const std::size_t best = state.st2059Sfps[1].state > state.st2059Sfps[0].state ? 1 : 0;
  state.st2059Status.state = state.st2059Sfps[best].state;
  state.st2059Status.bestMasterSfp = static_cast<std::uint8_t>(best + 1);
  state.st2059Status.bestMasterClockId = state.st2059Sfps[best].bestMasterClockId;
  state.st2059Status.grandMasterClockId = state.st2059Sfps[best].grandMasterClockId;
}

void MarkChanges(const CardState& before, const CardState& now, kit::Card::Step& step) {
  step.genlockChanged |=
      Differ(before.genlockStatus, now.genlockStatus) || Differ(before.genlockSettings, now.genlockSettings);
  step.st2059Changed |=
      Differ(before.st2059Status, now.st2059Status) || Differ(before.st2059Settings, now.st2059Settings);
  for (std::size_t sfp = 0; sfp < now.sfpIps.size(); ++sfp) {
    step.st2059Changed |= FollowersDiffer(before.st2059Sfps[sfp], now.st2059Sfps[sfp]);
    step.sfpIpChanged[sfp] |= Differ(before.sfpIps[sfp], now.sfpIps[sfp]);
  }
}

}  // namespace kestrune::recorded
