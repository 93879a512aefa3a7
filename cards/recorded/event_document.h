#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "files/event_names.h"
#include "recorded/card_state.h"

namespace kestrune::recorded {

/// A document of the event log, its texts turned back into the card's codes. A text that stands for many
/// codes ("invalid") becomes one that has it.
struct EventDocument {
  EventLogType type;
  std::int64_t epochTime;
  std::size_t sfp = 0;   ///< SFP index, of the last two types
  CardState state{};     ///< only what the type speaks of
  bool initial = false;  ///< shows the state at a run's start
};

/// Nothing for what isn't a whole document.
std::optional<EventDocument> ParseEventDocument(const std::string& text);

/// Brings the state to what the document says.
void Apply(const EventDocument& document, CardState& state);

}  // namespace kestrune::recorded
