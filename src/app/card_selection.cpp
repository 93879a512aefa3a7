#include "app/card_selection.h"

#include <algorithm>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>

#include "diag/status.h"
#include "platform/console.h"

namespace kestrune {
namespace {

constexpr std::uint32_t firstSupportedModel = 98;
constexpr std::uint32_t supportedModels = 3;

/// Indexed by model code.
constexpr const char* modelNames[] = {
    "Invalid",   "Model 1",   "Model 2",   "Model 3",   "Model 4",   "Model 5",   "Model 6",   "Model 7",
    "Model 8",   "Model 9",   "Reserved1", "Reserved2", "Model 12",  "Model 13",  "Model 14",  "Model 15",
    "Model 16",  "Model 17",  "Model 18",  "",          "Model 20",  "Model 21",  "Model 22",  "Model 23",
    "Model 24",  "Model 25",  "Model 26",  "Model 27",  "Model 28",  "Model 29",  "Model 30",  "Model 31",
    "Model 32",  "Reserved5", "Model 34",  "Model 35",  "Model 36",  "Model 37",  "Reserved6", "Model 39",
    "Reserved7", "Model 41",  "Model 42",  "Model 43",  "Model 44",  "Model 45",  "Model 46",  "Model 47",
    "Model 48",  "Model 49",  "Model 50",  "Model 51",  "Model 52",  "Model 53",  "Model 54",  "Model 55",
    "Model 56",  "Model 57",  "Model 58",  "Model 59",  "Model 60",  "Model 61",  "Model 62",  "Model 63",
    "Model 64",  "Model 65",  "Model 66",  "Model 67",  "Model 68",  "Model 69",  "Model 70",  "Model 71",
    "Model 72",  "Model 73",  "Model 74",  "Model 75",  "Model 76",  "Model 77",  "Model 78",  "Model 79",
    "Model 80",  "Model 81",  "Model 82",  "Model 83",  "Model 84",  "Model 85",  "Model 86",  "Model 87",
    "Model 88",  "???",       "???",       "Model 91",  "Model 92",  "Model 93",  "???",       "???",
    "Model 96",  "Model 97",  "Corvex5",   "Ulmira5",   "Model 100", "Model 101",
};

const char* ModelName(std::uint32_t modelCode) {
  return modelCode < std::size(modelNames) ? modelNames[modelCode] : "???";
}

/// Adds the card when it is one that can be monitored; a failure of the card is returned.
ResultHolder AddIfUsable(const TZvSmartPtr<IZvCardConfiguration>& card, std::vector<CardEntry>& cards) {
  auto information = MakeRecord<CardInformation>();
  ResultHolder result = card->GetCardInformation(&information, 0);
  if (result.Failed()) return result;

  TZvSmartPtr<IZvSmpte2059> smpte2059;
  result = card->GetSmpte2059(&smpte2059);
  if (result.Succeeded() && !smpte2059.IsNull() &&
      information.modelCode - firstSupportedModel < supportedModels) {
    cards.push_back({card, information});
  }
  return result;
}

/// Walks the system's cards to their end.
ResultHolder CollectCards(ApplicationContext& context) {
  TZvSmartPtr<IZvSystemConfigurationCardEnumerator> enumerator;
  ResultHolder result = CheckGiven(context.systemConfiguration->GetCardEnumerator(&enumerator), enumerator);
  if (result.Failed()) return result;

  while (result.Succeeded()) {
    TZvSmartPtr<IZvCardConfiguration> card;
    result.AssignQuietly(enumerator->Next(&card));
    // A success of another kind may come without a card: it ends the walk like the end itself, but stands.
    if (result.Code() > ZV_NOERROR && card.IsNull()) return result;
    result.AssignQuietly(CheckGiven(result.Code(), card));
    if (result.Succeeded()) result = AddIfUsable(card, context.cards);
  }
  if (result.Code() == ZV_E_END_OF_ENUM) result.AssignQuietly(ZV_NOERROR);
  return result;
}

/// A text of a record, which ends at its NUL or, failing that, at its field's end.
template <std::size_t N>
std::string_view FieldText(const char (&field)[N]) {
  return {field, std::find(field, field + N, '\0')};
}

}  // namespace

ResultHolder EnumerateCards(ApplicationContext& context) {
  ResultHolder result = CollectCards(context);
  if (result.Code() != ZV_NOERROR) {
    PrintStatus("Could not get cards from the system", result.Code());
  } else if (context.cards.empty()) {
    result = ZV_E_NO_HARDWARE_PROFILE_FOUND;
    PrintStatus("No hardware detected.", result.Code());
  }
  return result;
}

void PrintCardList(const ApplicationContext& context) {
  std::string text = "Available cards in the system:\n";
  for (std::size_t i = 0; i < context.cards.size(); ++i) {
    const CardInformation& information = context.cards[i].information;
    text += "  " + std::to_string(i) + ") " + ModelName(information.modelCode) + " S/N=";
    text.append(FieldText(information.serialNumber)).append(" Card model: ");
    text.append(FieldText(information.cardModel)).append("\n\n");
  }
  PrintToConsole(std::move(text));
}

CardSelection SelectCard(const ApplicationContext& context, const CZvCommandLineParser& parser) {
  const auto count = static_cast<std::uint32_t>(context.cards.size());

  if (parser.HasOption("sn")) {
    const std::string serialNumber = parser.GetValue("sn");
    for (std::uint32_t i = 0; i < count; ++i) {
      const std::string_view held = FieldText(context.cards[i].information.serialNumber);
      if (!serialNumber.empty() && serialNumber == held) return {ZV_NOERROR, i};
    }
    PrintStatus("A card with the requested serial number is not in the system", ZV_E_FAIL);
    return {ZV_E_FAIL};
  }

  const std::uint32_t index = parser.GetHardwareIndex();
  if (index < count) return {ZV_NOERROR, index};
  const std::string text = "A card with a hardware index of" + std::to_string(index) + " is not present. " +
                           std::to_string(count) + " cards are available.";
  PrintStatus(text.c_str(), ZV_E_FAIL);
  return {ZV_E_FAIL};
}

}  // namespace kestrune
