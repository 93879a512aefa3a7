#pragma once

#include <cstddef>
#include <cstdint>

#include "sdk/seconds_nanoseconds.h"

namespace kestrune {

/// The card's figures for one timing quantity over the samples of one telemetry interval: pairs of a seconds
/// part and a nanoseconds part, value = seconds × 1e9 + nanoseconds, both parts signed; in nanoseconds, the
/// summed squared deviation in their squares. Average = sum / N and standard deviation = sqrt(summed squared
/// deviation / N), N the interval's sample count.
struct QuantityFigures {
  SecondsNanoseconds sum;
  SecondsNanoseconds minimum;
  SecondsNanoseconds maximum;
  SecondsNanoseconds summedSquaredDeviation;
};
static_assert(sizeof(QuantityFigures) == 32);

/// One telemetry interval's measurements. The first count weighs the three quantities behind it, the second
/// count the last three.
struct PerformanceMonitoring {
  std::int32_t numberOfSyncSinceLastTelemetry;
  QuantityFigures masterToFollowerDelay;
  QuantityFigures originTimestampJitter;
  QuantityFigures offsetFromMaster;
  std::int32_t numberOfDelayRespSinceLastTelemetry;
  QuantityFigures meanPathDelay;
  QuantityFigures followerToMasterDelay;
  QuantityFigures delayReqToDelayRespDelay;
};
static_assert(sizeof(PerformanceMonitoring) == 200);
static_assert(offsetof(PerformanceMonitoring, masterToFollowerDelay) == 4);
static_assert(offsetof(PerformanceMonitoring, originTimestampJitter) == 36);
static_assert(offsetof(PerformanceMonitoring, offsetFromMaster) == 68);
static_assert(offsetof(PerformanceMonitoring, numberOfDelayRespSinceLastTelemetry) == 100);
static_assert(offsetof(PerformanceMonitoring, meanPathDelay) == 104);
static_assert(offsetof(PerformanceMonitoring, followerToMasterDelay) == 136);
static_assert(offsetof(PerformanceMonitoring, delayReqToDelayRespDelay) == 168);

/// The fields of one Announce message (IEEE 1588-2019, 13.5) and its sender's address. Octets are in wire
/// order.
struct PtpAnnounceInfo {
  std::uint8_t masterIPv4Address[4];
  std::uint8_t notRead4[4];
  std::uint8_t masterClockId[8];
  std::uint32_t domainNumber;
  std::uint32_t flagFieldOctet0;
  std::uint32_t flagFieldOctet1;
  std::uint8_t notRead28[4];
  std::uint64_t correctionField;  ///< nanoseconds × 2^16
  std::int32_t logMessageInterval;
  std::int32_t sourcePortNumber;
  std::uint64_t originTimestampSeconds;
  std::uint32_t originTimestampNanoseconds;
  std::int32_t currentUtcOffset;  ///< seconds
  std::uint32_t grandmasterPriority1;
  std::uint32_t grandmasterClockClass;
  std::uint32_t grandmasterClockAccuracy;
  std::uint32_t grandmasterOffsetScaledLogVariance;
  std::uint32_t grandmasterPriority2;
  std::uint8_t notRead84[4];
  std::uint8_t grandmasterIdentity[8];
  std::uint32_t stepsRemoved;
  std::uint32_t timeSource;
};
static_assert(sizeof(PtpAnnounceInfo) == 104);
static_assert(offsetof(PtpAnnounceInfo, masterClockId) == 8);
static_assert(offsetof(PtpAnnounceInfo, domainNumber) == 16);
static_assert(offsetof(PtpAnnounceInfo, flagFieldOctet0) == 20);
static_assert(offsetof(PtpAnnounceInfo, flagFieldOctet1) == 24);
static_assert(offsetof(PtpAnnounceInfo, correctionField) == 32);
static_assert(offsetof(PtpAnnounceInfo, logMessageInterval) == 40);
static_assert(offsetof(PtpAnnounceInfo, sourcePortNumber) == 44);
static_assert(offsetof(PtpAnnounceInfo, originTimestampSeconds) == 48);
static_assert(offsetof(PtpAnnounceInfo, originTimestampNanoseconds) == 56);
static_assert(offsetof(PtpAnnounceInfo, currentUtcOffset) == 60);
static_assert(offsetof(PtpAnnounceInfo, grandmasterPriority1) == 64);
static_assert(offsetof(PtpAnnounceInfo, grandmasterClockClass) == 68);
static_assert(offsetof(PtpAnnounceInfo, grandmasterClockAccuracy) == 72);
static_assert(offsetof(PtpAnnounceInfo, grandmasterOffsetScaledLogVariance) == 76);
static_assert(offsetof(PtpAnnounceInfo, grandmasterPriority2) == 80);
static_assert(offsetof(PtpAnnounceInfo, grandmasterIdentity) == 88);
static_assert(offsetof(PtpAnnounceInfo, stepsRemoved) == 96);
static_assert(offsetof(PtpAnnounceInfo, timeSource) == 100);

/// What the card measured on one SFP in one telemetry interval. Little-endian; bytes named notRead are
/// carried along and never looked at.
struct TelemetryRecord {
  std::uint8_t sfp;  ///< 0 = SFP A, 1 = SFP B
  std::uint8_t notRead1[7];
  PtpAnnounceInfo bestMasterLastPtpAnnouncePacket;
  PerformanceMonitoring performanceMonitoring;
  PtpAnnounceInfo listOfPtpMaster[5];
  std::int32_t numberOfPtpMasters;
  std::uint8_t notRead836[4];
  std::uint8_t bestMasterClockId[8];  ///< octets in wire order
  std::int32_t offsetFromMaster;
  std::int32_t averagePathDelay;  ///< nanoseconds
  SecondsNanoseconds lastCorrection;
  std::int32_t currentUtcOffset;  ///< seconds
  std::uint32_t currentUtcOffsetValid;
  std::uint32_t leap59;
  std::uint32_t leap61;
  std::uint32_t twoStepFlag;
  std::uint32_t timeTraceable;
  std::uint32_t frequencyTraceable;
  std::uint32_t ptpTimescale;
  std::uint32_t timeSource;
  std::int32_t logAnnounceInterval;
  std::int32_t logSyncInterval;
  std::int32_t logMinPdelayReqInterval;
  std::int32_t logMinDelayReqInterval;
  std::uint32_t announceMessagesReceived;
  std::uint32_t announceForeignMessagesReceived;
  std::uint32_t syncMessagesReceived;
  std::uint32_t followUpMessagesReceived;
  std::uint32_t delayReqMessagesSent;
  std::uint32_t delayReqMessagesReceived;
  std::uint32_t delayRespMessagesReceived;
  std::uint32_t managementMessagesReceived;
  std::uint32_t managementMessagesSent;
  std::uint32_t discardedMessages;
  std::int32_t state;       ///< PTP port state, 1 = initializing to 10 = follower locked
  std::uint32_t linkSpeed;  ///< 1 = 10 Gbit/s, 2 = 25 Gbit/s
  std::uint8_t notRead964[4];
  std::uint64_t linkTransmitRate;  ///< bytes per second
  std::uint64_t linkReceiveRate;   ///< bytes per second
  std::uint64_t linkPacketsTransmitted;
  std::uint64_t linkPacketsReceived;
  std::uint64_t linkTransmitPacketsDropped;
  std::uint64_t linkReceivePacketErrors;
};
static_assert(sizeof(TelemetryRecord) == 1016);
static_assert(offsetof(TelemetryRecord, bestMasterLastPtpAnnouncePacket) == 8);
static_assert(offsetof(TelemetryRecord, performanceMonitoring) == 112);
static_assert(offsetof(TelemetryRecord, listOfPtpMaster) == 312);
static_assert(offsetof(TelemetryRecord, numberOfPtpMasters) == 832);
static_assert(offsetof(TelemetryRecord, bestMasterClockId) == 840);
static_assert(offsetof(TelemetryRecord, offsetFromMaster) == 848);
static_assert(offsetof(TelemetryRecord, averagePathDelay) == 852);
static_assert(offsetof(TelemetryRecord, lastCorrection) == 856);
static_assert(offsetof(TelemetryRecord, currentUtcOffset) == 864);
static_assert(offsetof(TelemetryRecord, currentUtcOffsetValid) == 868);
static_assert(offsetof(TelemetryRecord, leap59) == 872);
static_assert(offsetof(TelemetryRecord, leap61) == 876);
static_assert(offsetof(TelemetryRecord, twoStepFlag) == 880);
static_assert(offsetof(TelemetryRecord, timeTraceable) == 884);
static_assert(offsetof(TelemetryRecord, frequencyTraceable) == 888);
static_assert(offsetof(TelemetryRecord, ptpTimescale) == 892);
static_assert(offsetof(TelemetryRecord, timeSource) == 896);
static_assert(offsetof(TelemetryRecord, logAnnounceInterval) == 900);
static_assert(offsetof(TelemetryRecord, logSyncInterval) == 904);
static_assert(offsetof(TelemetryRecord, logMinPdelayReqInterval) == 908);
static_assert(offsetof(TelemetryRecord, logMinDelayReqInterval) == 912);
static_assert(offsetof(TelemetryRecord, announceMessagesReceived) == 916);
static_assert(offsetof(TelemetryRecord, announceForeignMessagesReceived) == 920);
static_assert(offsetof(TelemetryRecord, syncMessagesReceived) == 924);
static_assert(offsetof(TelemetryRecord, followUpMessagesReceived) == 928);
static_assert(offsetof(TelemetryRecord, delayReqMessagesSent) == 932);
static_assert(offsetof(TelemetryRecord, delayReqMessagesReceived) == 936);
static_assert(offsetof(TelemetryRecord, delayRespMessagesReceived) == 940);
static_assert(offsetof(TelemetryRecord, managementMessagesReceived) == 944);
static_assert(offsetof(TelemetryRecord, managementMessagesSent) == 948);
static_assert(offsetof(TelemetryRecord, discardedMessages) == 952);
static_assert(offsetof(TelemetryRecord, state) == 956);
static_assert(offsetof(TelemetryRecord, linkSpeed) == 960);
static_assert(offsetof(TelemetryRecord, linkTransmitRate) == 968);
static_assert(offsetof(TelemetryRecord, linkReceiveRate) == 976);
static_assert(offsetof(TelemetryRecord, linkPacketsTransmitted) == 984);
static_assert(offsetof(TelemetryRecord, linkPacketsReceived) == 992);
static_assert(offsetof(TelemetryRecord, linkTransmitPacketsDropped) == 1000);
static_assert(offsetof(TelemetryRecord, linkReceivePacketErrors) == 1008);

}  // namespace kestrune
