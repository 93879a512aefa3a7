// Arbitrary bytes as a scenario: a refused one is told where and why, an accepted one holds what its file
// format promises, and the first of its cards can live through it.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <variant>

#include "simulated/card_model.h"
#include "simulated/scenario_reader.h"

namespace kestrune::simulated {
namespace {

void Check(bool holds) {
  if (!holds) std::abort();
}

/// A line and a column that the text has, and a reason behind them.
void CheckError(std::string_view text, const std::string& error) {
  if (text.starts_with("\xEF\xBB\xBF")) text.remove_prefix(3);
  Check(std::ranges::all_of(error, [](char c) { return static_cast<unsigned char>(c) >= ' '; }));
  std::size_t line = 0;
  std::size_t column = 0;
  int reason = 0;
  Check(std::sscanf(error.c_str(), "%zu:%zu: %n", &line, &column, &reason) == 2 && reason > 0);
  Check(static_cast<std::size_t>(reason) < error.size());
  for (; line > 1; --line) {
    Check(text.find('\n') != std::string_view::npos);
    text.remove_prefix(text.find('\n') + 1);
  }
  Check(line == 1 && column >= 1 && column <= std::min(text.find('\n'), text.size()) + 1);
}

/// Not so for a NaN.
void CheckRange(double value, double least, double most) { Check(value >= least && value <= most); }

void CheckText(const std::string& text, std::size_t most) {
  Check(!text.empty() && text.size() <= most);
  Check(std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~'; }));
}

void CheckPath(const Path& path) {
  CheckRange(path.delayNs, 0, 1e9);
  CheckRange(path.asymmetryNs, -1e9, 1e9);
  CheckRange(path.jitterNs, 0, 1e9);
  CheckRange(path.lossProbability, 0, 1);
}

void CheckCard(const Card& card) {
  CheckText(card.serialNumber, 31);
  CheckText(card.cardModel, 103);
  CheckRange(card.warmUpSeconds, 0, 86'400);
  CheckRange(card.oscillator.frequencyErrorPpb, -1e6, 1e6);
  CheckRange(card.oscillator.wanderPpb, 0, 1e6);
  for (const Sfp& sfp : card.sfps) CheckPath(sfp.path);
}

void CheckEvent(const Event& event, const Scenario& scenario) {
  CheckRange(event.at, 0, 3.2e9);
  if (event.every == 0) Check(event.times == 1);
  if (event.every != 0) CheckRange(event.every, 0.001, 3.2e9);
  Check(event.card < scenario.cards.size() && event.sfp < 2 && event.count >= 1);
  switch (event.kind) {
    case EventKind::GrandmasterLost:
    case EventKind::GrandmasterBack:
      return Check(event.grandmaster < scenario.grandmasters.size());
    case EventKind::GrandmasterChange:
      Check(event.grandmaster < scenario.grandmasters.size());
      return CheckRange(event.grandmasterAttributes.timeErrorNs, -1e9, 1e9);
    case EventKind::PathChange:
      return CheckPath(event.path);
    case EventKind::TransmitError:
      return CheckRange(event.value, 0, 1);
    case EventKind::BestMasterSfp:
    case EventKind::SfpIndex:
      return CheckRange(event.value, 0, 255);
    case EventKind::BestMasterSelection:
    case EventKind::LinkSpeed:
      return Check(event.value >= 0);
    default:
      return Check(event.kind <= EventKind::SfpIndex);
  }
}

void CheckScenario(const Scenario& scenario) {
  Check(scenario.seed <= INT64_MAX);
  if (scenario.startEpoch) CheckRange(static_cast<double>(*scenario.startEpoch), 0, 9e9);
  for (const Card& card : scenario.cards) CheckCard(card);
  for (const Grandmaster& master : scenario.grandmasters) {
    CheckText(master.name, 100);
    CheckRange(master.timeErrorNs, -1e9, 1e9);
    Check(std::ranges::count(scenario.grandmasters, master.name, &Grandmaster::name) == 1);
  }
  for (const Event& event : scenario.events) CheckEvent(event, scenario);
  for (const Fault& fault : scenario.faults) {
    Check(static_cast<std::size_t>(fault.operation) < kit::operationCount && fault.firstCall >= 1);
    Check(fault.lastCall == 0 || fault.lastCall == fault.firstCall);
    CheckRange(fault.from, 0, 3.2e9);
    if (fault.until) CheckRange(*fault.until, std::nextafter(fault.from, 4e9), 3.2e9);
  }
}

void LiveThrough(Scenario& scenario) {
  constexpr std::int64_t seconds = 6;
  if (scenario.cards.empty() || scenario.events.size() + scenario.grandmasters.size() > 50) return;
  Card& card = scenario.cards.front();
  card.warmUpSeconds = std::min(card.warmUpSeconds, 4.0);  // more would only take longer
  CardModel model(std::make_shared<const Scenario>(scenario), 0);
  model.Wake(1'775'044'800 * std::int64_t{1'000'000'000});
  while (model.Now() < seconds) {
    for (const TelemetryRecord& record : model.Advance().telemetry) {
      Check(record.performanceMonitoring.numberOfSyncSinceLastTelemetry >= 0);
      Check(record.performanceMonitoring.numberOfSyncSinceLastTelemetry <= 8);
    }
  }
}

}  // namespace
}  // namespace kestrune::simulated

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kestrune::simulated;
  const std::string text(reinterpret_cast<const char*>(data), size);
  auto result = ParseScenario(text);
  if (const auto* error = std::get_if<ScenarioError>(&result)) {
    CheckError(text, error->text);
    return 0;
  }
  auto& scenario = std::get<Scenario>(result);
  CheckScenario(scenario);
  LiveThrough(scenario);
  return 0;
}
