#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "report/event_log.h"

// Any text as an event log: whatever is in it, what was read holds together.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kestrune::report;
  TimeZone zone;
  const EventLog log = ParseEventLog({reinterpret_cast<const char*>(data), size}, zone);
  if (log.events.size() + log.repeated + log.dropped > log.documents) std::abort();
  for (const Event& event : log.events) {
    if (log.texts[event.text].empty() || event.sfp >= sfpCount) std::abort();
  }
  for (const LoggedRuns* runs : {&log.genlock, &log.card, &log.bestSfp, &log.cardGrandmaster}) {
    for (const Run& run : runs->All()) {
      if (run.value < 0 || static_cast<std::size_t>(run.value) >= log.texts.All().size()) std::abort();
    }
  }
  for (const TimeZone::Change& change : zone.Changes()) {
    if (zone.OffsetAt(change.from) != change.offset) std::abort();
  }
  return 0;
}
