#include "platform/trace.h"

namespace kestrune {

void SystemTraceSink(std::uint64_t, std::uint32_t, const GUID&, std::uint16_t, const void*, std::size_t) {}

}  // namespace kestrune
