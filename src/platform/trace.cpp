#include "platform/trace.h"

#if defined(_WIN32)
#include <evntrace.h>
#endif

namespace kestrune {

#if defined(_WIN32)

void SystemTraceSink(std::uint64_t logger, std::uint32_t messageFlags, const GUID& messageGuid,
                     std::uint16_t messageNumber, const void* argument, std::size_t argumentSize) {
  GUID guid = messageGuid;
  TraceMessage(logger, messageFlags, &guid, messageNumber, argument, argumentSize, nullptr);
}

#else

void SystemTraceSink(std::uint64_t, std::uint32_t, const GUID&, std::uint16_t, const void*, std::size_t) {}

#endif

}  // namespace kestrune
