#include "ptp/follower_record.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "ptp/profile.h"

namespace kestrune::ptp {
namespace {

void StoreOctets(std::uint64_t identity, std::uint8_t (&octets)[8]) {
  for (int octet = 0; octet < 8; ++octet)
    octets[octet] = static_cast<std::uint8_t>(identity >> (56 - 8 * octet));
}

std::int32_t Saturate(std::int64_t value) {
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, std::numeric_limits<std::int32_t>::min(),
                                                            std::numeric_limits<std::int32_t>::max()));
}

PtpAnnounceInfo MakeAnnounceInfo(const AnnounceMessage& message, std::uint8_t domainNumber) {
  PtpAnnounceInfo info{};
  std::ranges::copy(message.sourceAddress, info.masterIPv4Address);
  StoreOctets(message.sourcePortIdentity.clockIdentity, info.masterClockId);
  info.domainNumber = domainNumber;
  info.flagFieldOctet0 = message.flagOctet0;
  info.flagFieldOctet1 = message.flagOctet1;
  info.correctionField = static_cast<std::uint64_t>(message.correctionField);
  info.logMessageInterval = message.logMessageInterval;
  info.sourcePortNumber = message.sourcePortIdentity.portNumber;
  info.originTimestampSeconds = static_cast<std::uint64_t>(message.originTimestamp / nanosecondsPerSecond);
  info.originTimestampNanoseconds =
      static_cast<std::uint32_t>(message.originTimestamp % nanosecondsPerSecond);
  info.currentUtcOffset = message.currentUtcOffset;
  info.grandmasterPriority1 = message.grandmasterPriority1;
  info.grandmasterClockClass = message.grandmasterClockClass;
  info.grandmasterClockAccuracy = message.grandmasterClockAccuracy;
  info.grandmasterOffsetScaledLogVariance = message.grandmasterOffsetScaledLogVariance;
  info.grandmasterPriority2 = message.grandmasterPriority2;
  StoreOctets(message.grandmasterIdentity, info.grandmasterIdentity);
  info.stepsRemoved = message.stepsRemoved;
  info.timeSource = message.timeSource;
  return info;
}

void FillMasters(const Follower& follower, TelemetryRecord& record) {
  const auto masters = follower.Masters();
  const std::size_t count = std::min(masters.size(), std::size(record.listOfPtpMaster));
  record.numberOfPtpMasters = static_cast<std::int32_t>(count);
  for (std::size_t place = 0; place < std::size(record.listOfPtpMaster); ++place) {
    record.listOfPtpMaster[place] = place < count
                                        ? MakeAnnounceInfo(*masters[place], follower.Settings().domainNumber)
                                        : PtpAnnounceInfo{};
  }
}

void FillTimeProperties(const Follower& follower, TelemetryRecord& record) {
  const AnnounceMessage* parent = follower.Parent();
  record.bestMasterLastPtpAnnouncePacket =
      parent != nullptr ? MakeAnnounceInfo(*parent, follower.Settings().domainNumber) : PtpAnnounceInfo{};
  const AnnounceMessage announce = parent != nullptr ? *parent : AnnounceMessage();
  const auto flag = [&](FlagOctet1 bit) { return (announce.flagOctet1 & bit) != 0 ? 1U : 0U; };
  StoreOctets(announce.sourcePortIdentity.clockIdentity, record.bestMasterClockId);
  record.currentUtcOffset = announce.currentUtcOffset;
  record.currentUtcOffsetValid = flag(currentUtcOffsetValid);
  record.leap59 = flag(leap59);
  record.leap61 = flag(leap61);
  record.twoStepFlag = follower.TwoStep();
  record.timeTraceable = flag(timeTraceable);
  record.frequencyTraceable = flag(frequencyTraceable);
  record.ptpTimescale = flag(ptpTimescale);
  record.timeSource = announce.timeSource;
}

void FillMeasurements(const Measurements& measurements, PerformanceMonitoring& figures) {
  figures.numberOfSyncSinceLastTelemetry = measurements.offsetFromMaster.Count();
  figures.masterToFollowerDelay = measurements.masterToFollowerDelay.Figures();
  figures.originTimestampJitter = measurements.originTimestampJitter.Figures();
  figures.offsetFromMaster = measurements.offsetFromMaster.Figures();
  figures.numberOfDelayRespSinceLastTelemetry = measurements.meanPathDelay.Count();
  figures.meanPathDelay = measurements.meanPathDelay.Figures();
  figures.followerToMasterDelay = measurements.followerToMasterDelay.Figures();
  figures.delayReqToDelayRespDelay = measurements.delayReqToDelayRespDelay.Figures();
}

void FillCounters(const MessageCounters& counters, TelemetryRecord& record) {
  record.announceMessagesReceived = counters.announceReceived;
  record.announceForeignMessagesReceived = counters.announceForeignReceived;
  record.syncMessagesReceived = counters.syncReceived;
  record.followUpMessagesReceived = counters.followUpReceived;
  record.delayReqMessagesSent = counters.delayReqSent;
  record.delayReqMessagesReceived = counters.delayReqReceived;
  record.delayRespMessagesReceived = counters.delayRespReceived;
  record.managementMessagesReceived = counters.managementReceived;
  record.discardedMessages = counters.discarded;
}

}  // namespace

void FillRecord(const Follower& follower, TelemetryRecord& record) {
  FillMeasurements(follower.LastMeasurements(), record.performanceMonitoring);
  FillMasters(follower, record);
  FillTimeProperties(follower, record);
  FillCounters(follower.Counters(), record);
  record.offsetFromMaster = Saturate(follower.OffsetFromMaster());
  record.averagePathDelay = Saturate(std::llround(follower.MeanPathDelay()));
  record.logAnnounceInterval = follower.LogAnnounceInterval();
  record.logSyncInterval = follower.LogSyncInterval();
  record.logMinDelayReqInterval = follower.LogMinDelayReqInterval();
  record.state = static_cast<std::int32_t>(follower.State());
}

}  // namespace kestrune::ptp
