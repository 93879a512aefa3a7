#pragma once

#include <cstddef>
#include <cstdint>

#include "sdk/telemetry_record.h"

namespace kestrune {

// The records that the card services fill. The caller zeroes a record and sets its leading size field to the
// record's size in bytes before each request; MakeRecord does both. Bytes named notRead are the card's own.

struct CardInformation {
  /// The record nested in the card information, with a size field of its own.
  struct Nested {
    std::uint32_t size;
    std::uint8_t notRead4[48];
  };

  std::uint32_t size;
  std::uint32_t modelCode;
  std::uint8_t notRead8[28];
  char serialNumber[32];  ///< NUL-terminated
  char cardModel[104];    ///< NUL-terminated
  Nested nested;
  std::uint8_t notRead224[12];
};
static_assert(sizeof(CardInformation) == 236);
static_assert(sizeof(CardInformation::Nested) == 52);
static_assert(offsetof(CardInformation, modelCode) == 4);
static_assert(offsetof(CardInformation, serialNumber) == 36);
static_assert(offsetof(CardInformation, cardModel) == 68);
static_assert(offsetof(CardInformation, nested) == 172);

struct GenlockStatus {
  std::uint32_t size;
  std::uint32_t state;  ///< 1 = locked to 5 = relocking
  std::uint8_t notRead8[32];
};
static_assert(sizeof(GenlockStatus) == 40);
static_assert(offsetof(GenlockStatus, state) == 4);

struct GenlockSettings {
  std::uint32_t size;
  std::uint8_t notRead4[56];
  std::uint32_t resolutionFrameRate;
  std::uint8_t notRead64[4];
  std::uint32_t source;  ///< 1 = internal, 128 = ST 2059
  std::uint8_t notRead72[16];
};
static_assert(sizeof(GenlockSettings) == 88);
static_assert(offsetof(GenlockSettings, resolutionFrameRate) == 60);
static_assert(offsetof(GenlockSettings, source) == 68);

struct St2059Status {
  std::uint32_t size;
  std::int32_t state;          ///< PTP port state, as in TelemetryRecord
  std::uint8_t bestMasterSfp;  ///< SFP number: 1 = SFP A, 2 = SFP B
  std::uint8_t notRead9[7];
  std::uint64_t bestMasterClockId;
  std::uint64_t grandMasterClockId;
};
static_assert(sizeof(St2059Status) == 32);
static_assert(offsetof(St2059Status, state) == 4);
static_assert(offsetof(St2059Status, bestMasterSfp) == 8);
static_assert(offsetof(St2059Status, bestMasterClockId) == 16);
static_assert(offsetof(St2059Status, grandMasterClockId) == 24);

struct St2059Settings {
  std::uint32_t size;
  std::uint32_t bestMasterSfpSelection;  ///< 1 = automatic, 2 = SFP A, 3 = SFP B
};
static_assert(sizeof(St2059Settings) == 8);
static_assert(offsetof(St2059Settings, bestMasterSfpSelection) == 4);

struct St2059SfpStatus {
  std::uint32_t size;
  std::uint8_t notRead4[4];
  std::uint64_t bestMasterClockId;
  std::uint64_t grandMasterClockId;
  std::int32_t offsetFromMaster;
  std::uint8_t notRead28[4];
  std::int32_t averageMeanPathDelay;
  SecondsNanoseconds lastCorrection;
  std::int32_t state;  ///< PTP port state, as in TelemetryRecord
};
static_assert(sizeof(St2059SfpStatus) == 48);
static_assert(offsetof(St2059SfpStatus, bestMasterClockId) == 8);
static_assert(offsetof(St2059SfpStatus, grandMasterClockId) == 16);
static_assert(offsetof(St2059SfpStatus, offsetFromMaster) == 24);
static_assert(offsetof(St2059SfpStatus, averageMeanPathDelay) == 32);
static_assert(offsetof(St2059SfpStatus, lastCorrection) == 36);
static_assert(offsetof(St2059SfpStatus, state) == 44);

struct SfpIpStatus {
  std::uint32_t size;
  std::uint8_t modulePresent;  ///< in this and the next two, every value but 0 is true
  std::uint8_t signalPresent;
  std::uint8_t transmitError;
  std::uint8_t notRead7;
};
static_assert(sizeof(SfpIpStatus) == 8);
static_assert(offsetof(SfpIpStatus, modulePresent) == 4);
static_assert(offsetof(SfpIpStatus, signalPresent) == 5);
static_assert(offsetof(SfpIpStatus, transmitError) == 6);

/// Telemetry records waiting in the card, oldest first. It has no size field.
struct MonitorDataBatch {
  static constexpr std::uint32_t maximumCount = 12;

  TelemetryRecord records[maximumCount];
  std::uint32_t count;  ///< how many of the records are valid
  std::uint8_t notRead12196[4];
};
static_assert(sizeof(MonitorDataBatch) == 12200);
static_assert(offsetof(MonitorDataBatch, count) == 12192);

/// A record ready to be filled by the card services.
template <class Record>
constexpr Record MakeRecord() {
  Record record{};
  record.size = sizeof(Record);
  return record;
}

template <>
constexpr CardInformation MakeRecord<CardInformation>() {
  CardInformation record{};
  record.size = sizeof(CardInformation);
  record.nested.size = sizeof(CardInformation::Nested);
  return record;
}

}  // namespace kestrune
