#include "simulated/scenario_reader.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <iterator>
#include <limits>
#include <optional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "diag/result_codes.h"
#include "kit/regular_file.h"
#include "simulated/json_reading.h"

namespace kestrune::simulated {
namespace {

std::optional<std::size_t> ReadSfp(Reading& reading, const JsonValue& value) {
  constexpr std::array<std::string_view, 2> names{"A", "B"};
  return ReadName(reading, value, names, "SFP (A or B)");
}

template <auto Member, class Target>
void ClockIdentity(Reading& reading, const JsonValue& value, Target& target) {
  const auto text = ReadText(reading, value);
  if (!text) return;
  const auto octets = ParseOctets<8>(*text, ":-", 16);
  if (!octets)
    return reading.Fail(value.offset, "must be a clock identity such as \"08-00-11-ff-fe-21-00-01\"");
  target.*Member = 0;
  for (const std::uint8_t octet : *octets) target.*Member = target.*Member << 8 | octet;
}

void Address(Reading& reading, const JsonValue& value, Grandmaster& target) {
  const auto text = ReadText(reading, value);
  if (!text) return;
  const auto octets = ParseOctets<4>(*text, ".", 10);
  if (!octets) return reading.Fail(value.offset, "must be an IPv4 address such as \"10.20.59.1\"");
  target.ipv4 = *octets;
}

void Reachable(Reading& reading, const JsonValue& value, Grandmaster& target) {
  target.reachable = {false, false};
  ReadArray(reading, value, [&](Reading&, const JsonValue& item) {
    if (const auto sfp = ReadSfp(reading, item)) target.reachable[*sfp] = true;
  });
}

constexpr std::int64_t most32 = std::numeric_limits<std::uint32_t>::max();
constexpr std::int64_t least32Signed = std::numeric_limits<std::int32_t>::min();
constexpr std::int64_t most32Signed = std::numeric_limits<std::int32_t>::max();
/// A hundred years.
constexpr std::int64_t longestTime = 3'200'000'000;

constexpr Key<Grandmaster> grandmasterAttributeKeys[] = {
    {"address", Address},
    {"reachable", Reachable},
    {"boundaryClock", ClockIdentity<&Grandmaster::portClockIdentity>},
    {"priority1", Whole<&Grandmaster::priority1, 0, 255>},
    {"clockClass", Whole<&Grandmaster::clockClass, 0, 255>},
    {"clockAccuracy", Whole<&Grandmaster::clockAccuracy, 0, 255>},
    {"offsetScaledLogVariance", Whole<&Grandmaster::offsetScaledLogVariance, 0, 65535>},
    {"priority2", Whole<&Grandmaster::priority2, 0, 255>},
    {"stepsRemoved", Whole<&Grandmaster::stepsRemoved, 0, 65535>},
    {"timeSource", Whole<&Grandmaster::timeSource, 0, 255>},
    {"currentUtcOffset", Whole<&Grandmaster::currentUtcOffset, -32768, 32767>},
    {"twoStep", Flag<&Grandmaster::twoStep>},
    {"timeErrorNs", Number<&Grandmaster::timeErrorNs, -1'000'000'000, 1'000'000'000>},
};

constexpr Key<Grandmaster> grandmasterKeys[] = {
    {"name", Text<&Grandmaster::name, 100>, required},
    {"clockIdentity", ClockIdentity<&Grandmaster::clockIdentity>, required},
    {"present", Flag<&Grandmaster::present>},
};

void ReadAttributes(Reading& reading, const JsonValue& value, Grandmaster& target) {
  ReadObject(reading, value, target, grandmasterAttributeKeys);
}

void ReadGrandmaster(Reading& reading, const JsonValue& value, Grandmaster& target) {
  constexpr auto with = [] {
    std::array<Key<Grandmaster>, std::size(grandmasterKeys) + std::size(grandmasterAttributeKeys)> keys{};
    std::ranges::copy(grandmasterAttributeKeys, std::ranges::copy(grandmasterKeys, keys.begin()).out);
    return keys;
  }();
  ReadObject(reading, value, target, std::span<const Key<Grandmaster>>(with),
             [](std::string_view) { return false; });
}

constexpr Key<Path> pathKeys[] = {
    {"delayNs", Number<&Path::delayNs, 0, 1'000'000'000>},
    {"asymmetryNs", Number<&Path::asymmetryNs, -1'000'000'000, 1'000'000'000>},
    {"jitterNs", Number<&Path::jitterNs, 0, 1'000'000'000>},
    {"lossProbability", Number<&Path::lossProbability, 0, 1>},
};

template <auto Member, class Target>
void ReadPath(Reading& reading, const JsonValue& value, Target& target) {
  ReadObject(reading, value, target.*Member, pathKeys);
}

constexpr Key<Sfp> sfpKeys[] = {
    {"present", Flag<&Sfp::present>},
    {"signal", Flag<&Sfp::signal>},
    {"transmitError", Flag<&Sfp::transmitError>},
    {"linkSpeed", Whole<&Sfp::linkSpeed, 0, most32>},
    {"path", ReadPath<&Sfp::path>},
};

template <std::size_t Index>
void ReadSfpObject(Reading& reading, const JsonValue& value, Card& card) {
  ReadObject(reading, value, card.sfps[Index], sfpKeys);
}

void ReadSfpNumbers(Reading& reading, const JsonValue& value, Card& card) {
  card.sfpNumbers.clear();
  ReadArray(reading, value, [&](Reading&, const JsonValue& item) {
    if (const auto number = ReadWhole(reading, item, 0, most32)) {
      card.sfpNumbers.push_back(static_cast<std::uint32_t>(*number));
    }
  });
}

constexpr Key<Genlock> genlockKeys[] = {
    {"state", Whole<&Genlock::state, 0, most32>},
    {"source", Whole<&Genlock::source, 0, most32>},
    {"frameRate", Whole<&Genlock::frameRate, 0, most32>},
};

void ReadGenlock(Reading& reading, const JsonValue& value, Card& card) {
  ReadObject(reading, value, card.genlock, genlockKeys);
}

constexpr Key<Oscillator> oscillatorKeys[] = {
    {"frequencyErrorPpb", Number<&Oscillator::frequencyErrorPpb, -1'000'000, 1'000'000>},
    {"wanderPpb", Number<&Oscillator::wanderPpb, 0, 1'000'000>},
};

void ReadOscillator(Reading& reading, const JsonValue& value, Card& card) {
  ReadObject(reading, value, card.oscillator, oscillatorKeys);
}

constexpr Key<Card> cardKeys[] = {
    {"modelCode", Whole<&Card::modelCode, 0, most32>},
    {"serialNumber", Text<&Card::serialNumber, 31>},
    {"cardModel", Text<&Card::cardModel, 103>},
    {"st2059", Flag<&Card::st2059>},
    {"bestMasterSfpSelection", Whole<&Card::bestMasterSfpSelection, 0, most32>},
    {"warmUpSeconds", Number<&Card::warmUpSeconds, 0, 86'400>},
    {"sfpNumbers", ReadSfpNumbers},
    {"sfpA", ReadSfpObject<0>},
    {"sfpB", ReadSfpObject<1>},
    {"genlock", ReadGenlock},
    {"oscillator", ReadOscillator},
};

void ReadCards(Reading& reading, const JsonValue& value, Scenario& scenario) {
  ReadArray(reading, value, [&](Reading&, const JsonValue& item) {
    Card card;
    card.serialNumber = "SIM0000" + std::to_string(scenario.cards.size() + 1);
    ReadObject(reading, item, card, cardKeys);
    scenario.cards.push_back(std::move(card));
  });
}

void ReadGrandmasters(Reading& reading, const JsonValue& value, Scenario& scenario) {
  ReadArray(reading, value, [&](Reading&, const JsonValue& item) {
    Grandmaster grandmaster;
    ReadGrandmaster(reading, item, grandmaster);
    for (const Grandmaster& other : scenario.grandmasters) {
      if (other.name == grandmaster.name)
        reading.Fail(item.offset, "the name \"" + other.name + "\" is taken");
    }
    scenario.grandmasters.push_back(std::move(grandmaster));
  });
}

void ReadNetwork(Reading& reading, const JsonValue& value, Scenario& scenario) {
  constexpr Key<Scenario> keys[] = {{"grandmasters", ReadGrandmasters}};
  ReadObject(reading, value, scenario, keys);
}

// The timeline. Keys that every event has, keys that some kinds have, and the kinds.

/// An event that is being read, and what it may refer to.
struct EventDraft : Event {
  explicit EventDraft(const Scenario& soFar) : scenario(soFar) {}
  const Scenario& scenario;
};

void ReadEventEvery(Reading& reading, const JsonValue& value, EventDraft& event) {
  event.every = ReadNumber(reading, value, 0.001, longestTime).value_or(0);
}

void ReadEventCard(Reading& reading, const JsonValue& value, EventDraft& event) {
  const auto index = ReadWhole(reading, value, 0, most32);
  if (!index) return;
  event.card = static_cast<std::size_t>(*index);
  if (event.card >= event.scenario.cards.size()) {
    reading.Fail(value.offset, "no such card: " + std::to_string(*index));
  }
}

void ReadEventSfp(Reading& reading, const JsonValue& value, EventDraft& event) {
  event.sfp = ReadSfp(reading, value).value_or(0);
}

void ReadEventGrandmaster(Reading& reading, const JsonValue& value, EventDraft& event) {
  const auto name = ReadText(reading, value);
  if (!name) return;
  const auto& grandmasters = event.scenario.grandmasters;
  const auto found = std::ranges::find(grandmasters, *name, &Grandmaster::name);
  if (found == grandmasters.end())
    return reading.Fail(value.offset, "no such grandmaster: \"" + *name + "\"");
  event.grandmaster = static_cast<std::size_t>(found - grandmasters.begin());
}

/// What is not given is as it was at the start.
void ReadEventAttributes(Reading& reading, const JsonValue& value, EventDraft& event) {
  if (reading.wrong) return;
  event.grandmasterAttributes = event.scenario.grandmasters[event.grandmaster];
  ReadAttributes(reading, value, event.grandmasterAttributes);
}

/// What is not given is as it was at the start.
void ReadEventPath(Reading& reading, const JsonValue& value, EventDraft& event) {
  if (reading.wrong || event.card >= event.scenario.cards.size()) return;
  event.path = event.scenario.cards[event.card].sfps[event.sfp].path;
  ReadPath<&Event::path>(reading, value, event);
}

void ReadEventOn(Reading& reading, const JsonValue& value, EventDraft& event) {
  if (const auto on = ReadFlag(reading, value)) event.value = *on ? 1 : 0;
}

constexpr Key<EventDraft> eventKeys[] = {
    {"at", Number<&Event::at, 0, longestTime>, required},
    {"every", ReadEventEvery},
    {"times", Whole<&Event::times, 0, most32>},
    {"card", ReadEventCard},
};

using EventKey = Key<EventDraft>;
constexpr EventKey sfpKey{"sfp", ReadEventSfp, required};
constexpr EventKey grandmasterKey{"grandmaster", ReadEventGrandmaster, required};

struct EventRow {
  std::string_view name;
  EventKind kind;
  std::array<EventKey, 3> keys;  // the unused ones have no name
};

constexpr EventRow eventRows[] = {
    {"grandmaster-lost", EventKind::GrandmasterLost, {grandmasterKey}},
    {"grandmaster-back", EventKind::GrandmasterBack, {grandmasterKey}},
    {"grandmaster-change",
     EventKind::GrandmasterChange,
     {grandmasterKey, EventKey{"attributes", ReadEventAttributes, required}}},
    {"fibre-pulled", EventKind::FibrePulled, {sfpKey}},
    {"fibre-back", EventKind::FibreBack, {sfpKey}},
    {"module-removed", EventKind::ModuleRemoved, {sfpKey}},
    {"module-inserted", EventKind::ModuleInserted, {sfpKey}},
    {"transmit-error", EventKind::TransmitError, {sfpKey, EventKey{"on", ReadEventOn, required}}},
    {"genlock",
     EventKind::Genlock,
     {EventKey{"state", Whole<&Event::genlockState, 0, most32>},
      EventKey{"source", Whole<&Event::genlockSource, 0, most32>},
      EventKey{"frameRate", Whole<&Event::genlockFrameRate, 0, most32>}}},
    {"path-change", EventKind::PathChange, {sfpKey, EventKey{"path", ReadEventPath, required}}},
    {"port-state",
     EventKind::PortState,
     {sfpKey, EventKey{"value", Whole<&Event::value, least32Signed, most32Signed>, required}}},
    {"card-state",
     EventKind::CardState,
     {EventKey{"value", Whole<&Event::value, least32Signed, most32Signed>, required}}},
    {"best-master-sfp",
     EventKind::BestMasterSfp,
     {EventKey{"value", Whole<&Event::value, 0, 255>, required}}},
    {"best-master-selection",
     EventKind::BestMasterSelection,
     {EventKey{"value", Whole<&Event::value, 0, most32Signed>, required}}},
    {"link-speed",
     EventKind::LinkSpeed,
     {sfpKey, EventKey{"value", Whole<&Event::value, 0, most32Signed>, required}}},
    {"sfp-index",
     EventKind::SfpIndex,
     {sfpKey, EventKey{"value", Whole<&Event::value, 0, 255>, required},
      EventKey{"count", Whole<&Event::count, 1, most32>}}},
};

void ReadEvent(Reading& reading, const JsonValue& value, EventDraft& event) {
  constexpr auto names = [] {
    std::array<std::string_view, std::size(eventRows)> all{};
    std::ranges::transform(eventRows, all.begin(), &EventRow::name);
    return all;
  }();
  const JsonValue* kind = value.Find("event");
  if (kind == nullptr) return reading.Fail(value.offset, "must be an object with the key \"event\"");
  std::optional<std::size_t> row;
  ReadStep(reading, "event", *kind, event, [&](Reading&, const JsonValue& name, EventDraft&) {
    row = ReadName(reading, name, names, "event");
  });
  if (!row) return;

  event.kind = eventRows[*row].kind;
  std::vector<EventKey> keys(std::begin(eventKeys), std::end(eventKeys));
  std::ranges::copy_if(eventRows[*row].keys, std::back_inserter(keys),
                       [](const EventKey& key) { return !key.name.empty(); });
  ReadObject(reading, value, event, std::span<const EventKey>(keys),
             [](std::string_view name) { return name == "event"; });
  if (event.card >= event.scenario.cards.size()) reading.Fail(value.offset, "there is no card for the event");
  if (value.Find("times") != nullptr && value.Find("every") == nullptr) {
    reading.Fail(value.offset, "\"times\" needs \"every\"");
  }
  if (value.Find("every") != nullptr && value.Find("times") == nullptr) event.times = 0;
}

void ReadTimeline(Reading& reading, const JsonValue& value, Scenario& scenario) {
  ReadArray(reading, value, [&](Reading&, const JsonValue& item) {
    EventDraft event(scenario);
    ReadEvent(reading, item, event);
    scenario.events.push_back(event);
  });
}

// Faults.

struct NamedCode {
  std::string_view name;
  HRESULT code;
};
constexpr NamedCode namedCodes[] = {
#define RESULT_CODE(code, name, description) {#name, name},
#include "diag/result_codes.def"
#undef RESULT_CODE
};

void ReadOperation(Reading& reading, const JsonValue& value, Fault& fault) {
  if (const auto index = ReadName(reading, value, kit::operationNames, "operation")) {
    fault.operation = static_cast<kit::Operation>(*index);
  }
}

void ReadCode(Reading& reading, const JsonValue& value, Fault& fault) {
  const auto text = ReadText(reading, value);
  if (!text) return;
  if (const auto* named = std::ranges::find(namedCodes, *text, &NamedCode::name);
      named != std::end(namedCodes)) {
    fault.code = named->code;
    return;
  }
  const auto bits = text->starts_with("0x") ? ParseHex(std::string_view(*text).substr(2)) : std::nullopt;
  if (!bits || *bits > std::uint64_t{most32}) {
    return reading.Fail(value.offset, "must be the name of a result code or a text such as \"0x89998FFF\"");
  }
  fault.code = static_cast<HRESULT>(static_cast<std::uint32_t>(*bits));
}

void ReadCall(Reading& reading, const JsonValue& value, Fault& fault) {
  if (const auto call = ReadWhole(reading, value, 1, most32)) {
    fault.firstCall = fault.lastCall = static_cast<std::uint32_t>(*call);
  }
}

constexpr Key<Fault> faultKeys[] = {
    {"operation", ReadOperation, required},
    {"code", ReadCode, required},
    {"call", ReadCall},
    {"fromCall", Whole<&Fault::firstCall, 1, most32>},
    {"from", Number<&Fault::from, 0, longestTime>},
    {"until", Number<&Fault::until, 0, longestTime>},
};

void ReadFaults(Reading& reading, const JsonValue& value, Scenario& scenario) {
  ReadArray(reading, value, [&](Reading&, const JsonValue& item) {
    Fault fault;
    ReadObject(reading, item, fault, faultKeys);
    if (item.Find("call") != nullptr && item.Find("fromCall") != nullptr) {
      reading.Fail(item.offset, "\"call\" and \"fromCall\" exclude each other");
    }
    if (fault.until && *fault.until <= fault.from)
      reading.Fail(item.offset, "\"until\" must be later than \"from\"");
    scenario.faults.push_back(fault);
  });
}

/// In this order, as the timeline refers to the network and the cards.
constexpr Key<Scenario> scenarioKeys[] = {
    {"seed", Whole<&Scenario::seed, 0, std::numeric_limits<std::int64_t>::max()>},
    {"startEpoch", Whole<&Scenario::startEpoch, 0, 9'000'000'000>},
    {"network", ReadNetwork},
    {"cards", ReadCards, required},
    {"timeline", ReadTimeline},
    {"faults", ReadFaults},
};

/// "line:column: " and, unless it is the whole text's, the pointer, then the reason; all in one line.
ScenarioError Describe(std::string_view text, const Reading::Wrong& wrong) {
  const std::string_view before = text.substr(0, wrong.offset);
  const auto line = 1 + std::ranges::count(before, '\n');
  const std::size_t column = wrong.offset - (before.rfind('\n') + 1) + 1;
  std::string message = std::to_string(line) + ":" + std::to_string(column) + ": ";
  if (!wrong.pointer.empty()) message += wrong.pointer + ": ";
  message += wrong.reason;
  std::ranges::replace_if(
      message, [](char c) { return static_cast<unsigned char>(c) < ' '; }, '?');
  return {message};
}

}  // namespace

std::variant<Scenario, ScenarioError> ParseScenario(std::string text) {
  constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
  if (text.starts_with(byteOrderMark)) text.erase(0, byteOrderMark.size());

  const auto parsed = ParseJson(text);
  if (const auto* error = std::get_if<JsonError>(&parsed)) {
    return Describe(text, {error->offset, {}, "not valid JSON: " + error->reason});
  }
  Reading reading;
  Scenario scenario;
  ReadObject(reading, std::get<JsonValue>(parsed), scenario, scenarioKeys);
  if (reading.wrong) return Describe(text, *reading.wrong);
  return scenario;
}

std::variant<Scenario, ScenarioError> ReadScenario(const std::string& path) {
  constexpr std::size_t mostOctets = 16 << 20;
  const auto opened = kit::OpenRegularFile(path);
  if (const auto* reason = std::get_if<std::string>(&opened)) return ScenarioError{path + ": " + *reason};
  std::FILE* file = std::get<kit::File>(opened).get();

  std::string text;
  std::array<char, 65536> chunk;
  while (const std::size_t count = std::fread(chunk.data(), 1, chunk.size(), file)) {
    text.append(chunk.data(), count);
    if (text.size() > mostOctets) return ScenarioError{path + ": is longer than 16 MiB"};
  }
  if (std::ferror(file) != 0) return ScenarioError{path + ": cannot be read"};

  auto scenario = ParseScenario(std::move(text));
  if (auto* error = std::get_if<ScenarioError>(&scenario)) error->text = path + ":" + error->text;
  return scenario;
}

}  // namespace kestrune::simulated
