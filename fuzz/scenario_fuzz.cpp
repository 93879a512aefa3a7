// Arbitrary bytes as a scenario: a refused one is told where and why, and an accepted one has texts that fit
// a record and a first card that can live through it.

#include <algorithm>
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

void CheckText(const std::string& text, std::size_t most) {
  Check(!text.empty() && text.size() <= most);
  Check(std::ranges::all_of(text, [](char c) { return c >= ' ' && c <= '~'; }));
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
  for (const Card& card : scenario.cards) {
    CheckText(card.serialNumber, 31);
    CheckText(card.cardModel, 103);
  }
  LiveThrough(scenario);
  return 0;
}
