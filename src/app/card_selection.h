#pragma once

#include <cstdint>
#include <vector>

#include "cmdline/command_line_parser.h"
#include "diag/result_holder.h"
#include "sdk/card_services.h"
#include "sdk/zv_smart_ptr.h"

namespace kestrune {

/// A card that can be monitored.
struct CardEntry {
  TZvSmartPtr<IZvCardConfiguration> card;
  CardInformation information;
};

/// What the shell holds for the whole run. The system configuration goes before the cards.
struct ApplicationContext {
  std::vector<CardEntry> cards;  ///< in enumeration order; a card's index is its hardware index
  TZvSmartPtr<IZvSystemConfiguration> systemConfiguration;
};

/// Fills the context's cards from its system configuration. Prints its own failures; no usable card is one.
ResultHolder EnumerateCards(ApplicationContext& context);

/// Prints the context's cards to standard output.
void PrintCardList(const ApplicationContext& context);

struct CardSelection {
  ResultHolder result;
  std::uint32_t index = 0;  ///< into the context's cards, when the result is a success
};

/// Finds the card that the options ask for: "sn" by its whole serial number, which isn't empty, else "hw" by
/// its index, else the first. Prints its own failures.
CardSelection SelectCard(const ApplicationContext& context, const CZvCommandLineParser& parser);

}  // namespace kestrune
