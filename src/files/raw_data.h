#pragma once

#include <cstddef>
#include <cstdint>

#include "sdk/telemetry_record.h"

namespace kestrune {

/// The unit of the raw data file, which holds nothing but these, one behind the other, in the machine's
/// (little-endian) order.
struct RawDataUnit {
  std::int64_t epochTime;  ///< seconds since 1970-01-01 UTC at which the record's batch was received
  TelemetryRecord record;  ///< as the card delivered it
};
static_assert(sizeof(RawDataUnit) == 1024);
static_assert(offsetof(RawDataUnit, record) == 8);

}  // namespace kestrune
