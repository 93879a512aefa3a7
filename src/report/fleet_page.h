#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "report/fleet_machine.h"

namespace kestrune::report {

/// By verdict, what couldn't be read last.
void PutWorstFirst(std::vector<Machine>& machines);

/// The plant's page: the machines with what was found in them and among them. `name` is the plant's,
/// `generated` in epoch seconds.
std::string RenderFleetPage(const std::vector<Machine>& machines, const std::string& name,
                            const std::string& version, std::int64_t generated);

/// "3 machines: 1 fail, 2 pass; grandmasters agree", for the console.
std::string FleetSummary(const std::vector<Machine>& machines);

/// As of a report's verdict, of the worst machine; 4 when a file couldn't be read.
int FleetExitStatus(const std::vector<Machine>& machines);

}  // namespace kestrune::report
