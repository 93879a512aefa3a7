// The library's system: the scenario of the environment variable ZV_SIM_SCENARIO, or the built-in one.

#include "kit/library.h"

#include <cstdio>
#include <memory>
#include <string>
#include <utility>

#include "diag/result_codes.h"
#include "kit/system.h"
#include "simulated/builtin_scenario.h"
#include "simulated/scenario_reader.h"
#include "simulated/simulated_system.h"

namespace kestrune::kit {

const char* const libraryName = KESTRUNE_LIBRARY_NAME;

std::variant<System, HRESULT> MakeSystem() {
  using namespace simulated;
  const std::string path = EnvironmentText("ZV_SIM_SCENARIO");
  auto scenario =
      path.empty() ? std::variant<Scenario, ScenarioError>(BuiltinScenario()) : ReadScenario(path);
  if (const auto* error = std::get_if<ScenarioError>(&scenario)) {
    std::fprintf(stderr, "%s: %s\n", libraryName, error->text.c_str());
    return ZV_E_INVALID_FILE_FORMAT;
  }
  return MakeSimulatedSystem(std::move(std::get<Scenario>(scenario)));
}

}  // namespace kestrune::kit
