#pragma once

#include <array>

#include "kit/card.h"
#include "sdk/records.h"

namespace kestrune::recorded {

/// What the card reports at a moment. SFP index: 0 = SFP A, 1 = SFP B.
struct CardState {
  GenlockStatus genlockStatus = MakeRecord<GenlockStatus>();
  GenlockSettings genlockSettings = MakeRecord<GenlockSettings>();
  St2059Status st2059Status = MakeRecord<St2059Status>();
  St2059Settings st2059Settings = MakeRecord<St2059Settings>();
  std::array<St2059SfpStatus, 2> st2059Sfps{MakeRecord<St2059SfpStatus>(), MakeRecord<St2059SfpStatus>()};
  std::array<SfpIpStatus, 2> sfpIps{MakeRecord<SfpIpStatus>(), MakeRecord<SfpIpStatus>()};
};

/// What a record tells of its SFP's ST 2059 status.
void ApplyToSfp(const TelemetryRecord& record, CardState& state);

/// Likewise, and of the SFP's module and signal, and of the card: that it follows the SFP that has come
/// further.
void Apply(const TelemetryRecord& record, CardState& state);

/// Marks in `step` the kinds of status that have changed. Offsets and delays alone are no change.
void MarkChanges(const CardState& before, const CardState& now, kit::Card::Step& step);

}  // namespace kestrune::recorded
