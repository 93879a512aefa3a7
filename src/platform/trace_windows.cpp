#include <windows.h>
// After the former, which it lacks.
#include <evntrace.h>

#include "platform/trace.h"

namespace kestrune {

void SystemTraceSink(std::uint64_t logger, std::uint32_t messageFlags, const GUID& messageGuid,
                     std::uint16_t messageNumber, const void* argument, std::size_t argumentSize) {
  GUID guid = messageGuid;
  TraceMessage(logger, messageFlags, &guid, messageNumber, argument, argumentSize, nullptr);
}

}  // namespace kestrune
