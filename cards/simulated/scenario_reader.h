#pragma once

#include <string>
#include <variant>

#include "simulated/scenario.h"

namespace kestrune::simulated {

/// Why a scenario is no good, in one line: where it is wrong (line:column, both counted from 1, columns in
/// bytes, and a JSON pointer) and the reason.
struct ScenarioError {
  std::string text;
};

/// Reads a scenario from the JSON text of a scenario file.
std::variant<Scenario, ScenarioError> ParseScenario(std::string text);

/// Reads the scenario file with this UTF-8 path; the error's text then begins with the path.
std::variant<Scenario, ScenarioError> ReadScenario(const std::string& path);

}  // namespace kestrune::simulated
