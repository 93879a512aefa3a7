#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "files/raw_data.h"

namespace kestrune {

/// How a column's bytes become text. Hexadecimal is in lower case, without prefix or leading zeros.
enum class Rendering : std::uint8_t {
  Unsigned8,
  Unsigned32,
  Unsigned64,
  Signed32,
  Signed64,
  Hex32,
  IPv4,               ///< four octets, the lowest place first
  ClockIdentity,      ///< eight octets in wire order, as one number in hexadecimal
  Average,            ///< of a sum's seconds and nanoseconds parts over the block's count, in nanoseconds
  StandardDeviation,  ///< likewise, of a summed squared deviation
  PortState,
  LinkSpeed,  ///< the card's code, in bit/s
  BitRate,    ///< bytes per second, in bit/s
};

/// One column of the converted text.
struct Column {
  std::string_view block;  ///< what stands before the name: "bmlpap-"
  std::string_view name;
  std::uint16_t place;  ///< in the unit, in bytes
  Rendering rendering;
  bool marked = true;            ///< does the column line say "(0x)" or "(0f)" behind the name?
  std::uint16_t countPlace = 0;  ///< of the sample count that an average or deviation is taken over
};

namespace detail {

struct Row {
  std::string_view name;
  std::size_t place;
  Rendering rendering;
};

/// A block of columns: `rows`, whose places count from `place`.
template <std::size_t size>
consteval std::array<Column, size> Block(std::string_view block, const Row (&rows)[size],
                                         std::size_t place = 0, std::size_t countPlace = 0,
                                         bool marked = true) {
  std::array<Column, size> columns{};
  for (std::size_t i = 0; i < size; ++i) {
    columns[i] = {block,
                  rows[i].name,
                  static_cast<std::uint16_t>(place + rows[i].place),
                  rows[i].rendering,
                  marked,
                  static_cast<std::uint16_t>(countPlace)};
  }
  return columns;
}

template <std::size_t... sizes>
consteval auto Join(const std::array<Column, sizes>&... blocks) {
  std::array<Column, (sizes + ...)> columns{};
  std::size_t size = 0;
  const auto append = [&](const auto& block) {
    for (const Column& column : block) columns[size++] = column;
  };
  (append(blocks), ...);
  return columns;
}

inline constexpr Row announceRows[] = {
    {"mastIPv4A", offsetof(PtpAnnounceInfo, masterIPv4Address), Rendering::IPv4},
    {"masterClockId", offsetof(PtpAnnounceInfo, masterClockId), Rendering::ClockIdentity},
    {"domNum", offsetof(PtpAnnounceInfo, domainNumber), Rendering::Unsigned32},
    {"flfieldOct0", offsetof(PtpAnnounceInfo, flagFieldOctet0), Rendering::Hex32},
    {"flfieldOct1", offsetof(PtpAnnounceInfo, flagFieldOctet1), Rendering::Hex32},
    {"corrfield", offsetof(PtpAnnounceInfo, correctionField), Rendering::Unsigned64},
    {"logmesinter", offsetof(PtpAnnounceInfo, logMessageInterval), Rendering::Signed32},
    {"srcportid", offsetof(PtpAnnounceInfo, sourcePortNumber), Rendering::Signed32},
    {"ortssec", offsetof(PtpAnnounceInfo, originTimestampSeconds), Rendering::Unsigned64},
    {"ortsnsec", offsetof(PtpAnnounceInfo, originTimestampNanoseconds), Rendering::Unsigned32},
    {"curutcoff", offsetof(PtpAnnounceInfo, currentUtcOffset), Rendering::Signed32},
    {"grmastprio1", offsetof(PtpAnnounceInfo, grandmasterPriority1), Rendering::Unsigned32},
    {"grmastclclass", offsetof(PtpAnnounceInfo, grandmasterClockClass), Rendering::Unsigned32},
    {"grmastclaccu", offsetof(PtpAnnounceInfo, grandmasterClockAccuracy), Rendering::Unsigned32},
    {"grmastclvar", offsetof(PtpAnnounceInfo, grandmasterOffsetScaledLogVariance), Rendering::Unsigned32},
    {"grmastprio2", offsetof(PtpAnnounceInfo, grandmasterPriority2), Rendering::Unsigned32},
    {"grmastclid", offsetof(PtpAnnounceInfo, grandmasterIdentity), Rendering::ClockIdentity},
    {"stepsrem", offsetof(PtpAnnounceInfo, stepsRemoved), Rendering::Unsigned32},
    {"timesrc", offsetof(PtpAnnounceInfo, timeSource), Rendering::Unsigned32},
};

inline constexpr Row quantityRows[] = {
    {"su-s", offsetof(QuantityFigures, sum.seconds), Rendering::Signed32},
    {"su-ns", offsetof(QuantityFigures, sum.nanoseconds), Rendering::Signed32},
    {"mi-s", offsetof(QuantityFigures, minimum.seconds), Rendering::Signed32},
    {"mi-ns", offsetof(QuantityFigures, minimum.nanoseconds), Rendering::Signed32},
    {"ma-s", offsetof(QuantityFigures, maximum.seconds), Rendering::Signed32},
    {"ma-ns", offsetof(QuantityFigures, maximum.nanoseconds), Rendering::Signed32},
    {"ssd-s", offsetof(QuantityFigures, summedSquaredDeviation.seconds), Rendering::Signed32},
    {"ssd-ns", offsetof(QuantityFigures, summedSquaredDeviation.nanoseconds), Rendering::Signed32},
    {"ave", offsetof(QuantityFigures, sum.seconds), Rendering::Average},
    {"sd", offsetof(QuantityFigures, summedSquaredDeviation.seconds), Rendering::StandardDeviation},
};

inline constexpr Row unitRows[] = {
    {"eptim", offsetof(RawDataUnit, epochTime), Rendering::Signed64},
    {"sfp", offsetof(RawDataUnit, record.sfp), Rendering::Unsigned8},
};

inline constexpr std::size_t monitoringPlace = offsetof(RawDataUnit, record.performanceMonitoring);

inline constexpr Row syncCountRow[] = {
    {"numsynclasttel", offsetof(PerformanceMonitoring, numberOfSyncSinceLastTelemetry), Rendering::Signed32},
};

inline constexpr Row delayRespCountRow[] = {
    {"numdelresplasttel", offsetof(PerformanceMonitoring, numberOfDelayRespSinceLastTelemetry),
     Rendering::Signed32},
};

inline constexpr Row portRows[] = {
    {"numptpmasts", offsetof(TelemetryRecord, numberOfPtpMasters), Rendering::Signed32},
    {"bsmsclid", offsetof(TelemetryRecord, bestMasterClockId), Rendering::ClockIdentity},
    {"offrmast", offsetof(TelemetryRecord, offsetFromMaster), Rendering::Signed32},
    {"avepadelns", offsetof(TelemetryRecord, averagePathDelay), Rendering::Signed32},
    {"lastcor-s", offsetof(TelemetryRecord, lastCorrection.seconds), Rendering::Signed32},
    {"lastcor-ns", offsetof(TelemetryRecord, lastCorrection.nanoseconds), Rendering::Signed32},
    {"tp-curutcoff", offsetof(TelemetryRecord, currentUtcOffset), Rendering::Signed32},
    {"tp-curutcoffval", offsetof(TelemetryRecord, currentUtcOffsetValid), Rendering::Unsigned32},
    {"tp-leap59", offsetof(TelemetryRecord, leap59), Rendering::Unsigned32},
    {"tp-leap61", offsetof(TelemetryRecord, leap61), Rendering::Unsigned32},
    {"tp-twstfl", offsetof(TelemetryRecord, twoStepFlag), Rendering::Unsigned32},
    {"tp-tmtrac", offsetof(TelemetryRecord, timeTraceable), Rendering::Unsigned32},
    {"tp-freqtrac", offsetof(TelemetryRecord, frequencyTraceable), Rendering::Unsigned32},
    {"tp-ptptmsc", offsetof(TelemetryRecord, ptpTimescale), Rendering::Unsigned32},
    {"tp-tmsrc", offsetof(TelemetryRecord, timeSource), Rendering::Unsigned32},
    {"lganinter", offsetof(TelemetryRecord, logAnnounceInterval), Rendering::Signed32},
    {"logsyinter", offsetof(TelemetryRecord, logSyncInterval), Rendering::Signed32},
    {"lgmipdelreqint", offsetof(TelemetryRecord, logMinPdelayReqInterval), Rendering::Signed32},
    {"lgmidelreqint", offsetof(TelemetryRecord, logMinDelayReqInterval), Rendering::Signed32},
    {"anmesrec", offsetof(TelemetryRecord, announceMessagesReceived), Rendering::Unsigned32},
    {"anformesrec", offsetof(TelemetryRecord, announceForeignMessagesReceived), Rendering::Unsigned32},
    {"symesrec", offsetof(TelemetryRecord, syncMessagesReceived), Rendering::Unsigned32},
    {"folupmesrec", offsetof(TelemetryRecord, followUpMessagesReceived), Rendering::Unsigned32},
    {"delreqmesse", offsetof(TelemetryRecord, delayReqMessagesSent), Rendering::Unsigned32},
    {"delreqmesre", offsetof(TelemetryRecord, delayReqMessagesReceived), Rendering::Unsigned32},
    {"derespmesrec", offsetof(TelemetryRecord, delayRespMessagesReceived), Rendering::Unsigned32},
    {"manmesrec", offsetof(TelemetryRecord, managementMessagesReceived), Rendering::Unsigned32},
    {"manmesse", offsetof(TelemetryRecord, managementMessagesSent), Rendering::Unsigned32},
    {"dismes", offsetof(TelemetryRecord, discardedMessages), Rendering::Unsigned32},
    {"state", offsetof(TelemetryRecord, state), Rendering::PortState},
    {"lispeed(bit/s)", offsetof(TelemetryRecord, linkSpeed), Rendering::LinkSpeed},
    {"litxra(bit/s)", offsetof(TelemetryRecord, linkTransmitRate), Rendering::BitRate},
    {"lirxra(bit/s)", offsetof(TelemetryRecord, linkReceiveRate), Rendering::BitRate},
    {"litxpa", offsetof(TelemetryRecord, linkPacketsTransmitted), Rendering::Unsigned64},
    {"lirxpa", offsetof(TelemetryRecord, linkPacketsReceived), Rendering::Unsigned64},
    {"litxdrpa", offsetof(TelemetryRecord, linkTransmitPacketsDropped), Rendering::Unsigned64},
    {"lirxpaer", offsetof(TelemetryRecord, linkReceivePacketErrors), Rendering::Unsigned64},
};

inline constexpr std::size_t syncCountPlace =
    monitoringPlace + offsetof(PerformanceMonitoring, numberOfSyncSinceLastTelemetry);
inline constexpr std::size_t delayRespCountPlace =
    monitoringPlace + offsetof(PerformanceMonitoring, numberOfDelayRespSinceLastTelemetry);

consteval auto SyncQuantity(std::string_view block, std::size_t place) {
  return Block(block, quantityRows, monitoringPlace + place, syncCountPlace);
}

consteval auto DelayRespQuantity(std::string_view block, std::size_t place) {
  return Block(block, quantityRows, monitoringPlace + place, delayRespCountPlace);
}

/// The list's columns have no marks, although they are rendered like the best master's: readers of the text
/// go by these names.
consteval auto ListedMaster(std::string_view block, std::size_t index) {
  return Block(block, announceRows,
               offsetof(RawDataUnit, record.listOfPtpMaster) + index * sizeof(PtpAnnounceInfo), 0, false);
}

}  // namespace detail

/// Every column in the order of the text: the column line and the record lines both come from here.
inline constexpr auto columns = detail::Join(
    detail::Block("", detail::unitRows),
    detail::Block("bmlpap-", detail::announceRows,
                  offsetof(RawDataUnit, record.bestMasterLastPtpAnnouncePacket)),
    detail::Block("pm-", detail::syncCountRow, detail::monitoringPlace),
    detail::SyncQuantity("pm-masfoldel-", offsetof(PerformanceMonitoring, masterToFollowerDelay)),
    detail::SyncQuantity("pm-ortsjit-", offsetof(PerformanceMonitoring, originTimestampJitter)),
    detail::SyncQuantity("pm-offrmast-", offsetof(PerformanceMonitoring, offsetFromMaster)),
    detail::Block("pm-", detail::delayRespCountRow, detail::monitoringPlace),
    detail::DelayRespQuantity("pm-mepadel-", offsetof(PerformanceMonitoring, meanPathDelay)),
    detail::DelayRespQuantity("pm-folmastdel-", offsetof(PerformanceMonitoring, followerToMasterDelay)),
    detail::DelayRespQuantity("pm-delreqtodelresde-",
                              offsetof(PerformanceMonitoring, delayReqToDelayRespDelay)),
    detail::ListedMaster("lptpm0-", 0), detail::ListedMaster("lptpm1-", 1),
    detail::ListedMaster("lptpm2-", 2), detail::ListedMaster("lptpm3-", 3),
    detail::ListedMaster("lptpm4-", 4), detail::Block("", detail::portRows, offsetof(RawDataUnit, record)));
static_assert(columns.size() == 215);

}  // namespace kestrune
