#pragma once

#include <cstdint>
#include <string>

#include "report/event_log.h"
#include "report/metrics_state.h"

namespace kestrune::report {

/// The event log from a memory on: what that knows, and the whole documents that the file gained since, which
/// the memory then knows too. Nothing of the file when it has become shorter.
EventLog ReadEventLogOn(const std::string& fileName, EventLogMemory& memory);

/// Drops what no second from `time` on is judged by.
void ForgetBefore(std::int64_t time, EventLogMemory& memory);

}  // namespace kestrune::report
