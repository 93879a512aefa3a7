#include "report/record.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>

namespace kestrune::report {
namespace {

constexpr std::int32_t uncalibrated = 8;
constexpr std::uint32_t mostSteps = 10'000'000;  // a second, on any link; more is a counter that began anew

std::uint64_t Identity(const std::uint8_t (&octets)[8]) {
  std::uint64_t value;
  std::memcpy(&value, octets, sizeof value);
  return __builtin_bswap64(value);
}

std::uint32_t Address(const std::uint8_t (&octets)[4]) {
  std::uint32_t value;
  std::memcpy(&value, octets, sizeof value);
  return __builtin_bswap32(value);
}

template <typename Counter>
std::uint32_t Step(Counter before, Counter now) {
  const auto step = static_cast<Counter>(now - before);
  return step <= mostSteps ? static_cast<std::uint32_t>(step) : 0;
}

/// Messages a second at an interval of 2^log2 seconds, times `scale`; 0 for what isn't a whole number.
std::uint32_t Due(std::int32_t log2, std::uint32_t scale) {
  if (log2 <= 0) return log2 >= -7 ? scale << -log2 : 0;
  return log2 < 8 ? scale >> log2 : 0;
}

/// Is one message due in a second, at an interval of several?
bool IsRarelyDue(std::int32_t log2, std::int64_t time) {
  return log2 > 0 && log2 < 8 && time % (std::int64_t{1} << log2) == 0;
}

bool SameBytes(const void* left, const void* right, std::size_t from, std::size_t to) {
  const auto* a = static_cast<const std::byte*>(left);
  const auto* b = static_cast<const std::byte*>(right);
  return std::memcmp(a + from, b + from, to - from) == 0;
}

/// A record's figures, of `count` > 0 messages.
Stat StatOf(const QuantityFigures& figures, std::int32_t count) {
  return Stat::Of(count, static_cast<double>(ToNanoseconds(figures.sum)), ToNanoseconds(figures.minimum),
                  ToNanoseconds(figures.maximum),
                  static_cast<double>(ToNanoseconds(figures.summedSquaredDeviation)));
}

}  // namespace

Master MasterOf(const TelemetryRecord& record) {
  const PtpAnnounceInfo& announce = record.bestMasterLastPtpAnnouncePacket;
  Master master;
  master.grandmaster = Identity(announce.grandmasterIdentity);
  master.sender = Identity(announce.masterClockId);
  master.address = Address(announce.masterIPv4Address);
  master.port = announce.sourcePortNumber;
  master.domain = announce.domainNumber;
  master.flags0 = announce.flagFieldOctet0;
  master.flags1 = announce.flagFieldOctet1;
  master.priority1 = announce.grandmasterPriority1;
  master.priority2 = announce.grandmasterPriority2;
  master.clockClass = announce.grandmasterClockClass;
  master.accuracy = announce.grandmasterClockAccuracy;
  master.variance = announce.grandmasterOffsetScaledLogVariance;
  master.stepsRemoved = announce.stepsRemoved;
  master.timeSource = announce.timeSource;
  master.utcOffset = announce.currentUtcOffset;
  master.timeUtcOffset = record.currentUtcOffset;
  master.utcOffsetValid = record.currentUtcOffsetValid;
  master.leap59 = record.leap59;
  master.leap61 = record.leap61;
  master.twoStep = record.twoStepFlag;
  master.timeTraceable = record.timeTraceable;
  master.frequencyTraceable = record.frequencyTraceable;
  master.ptpTimescale = record.ptpTimescale;
  master.logAnnounceInterval = record.logAnnounceInterval;
  master.logSyncInterval = record.logSyncInterval;
  master.logPdelayReqInterval = record.logMinPdelayReqInterval;
  master.logDelayReqInterval = record.logMinDelayReqInterval;
  return master;
}

bool HasSameMaster(const TelemetryRecord& left, const TelemetryRecord& right) {
  // All of the announce message but its correction, sequence of intervals and origin time stamp.
  const void* a = &left.bestMasterLastPtpAnnouncePacket;
  const void* b = &right.bestMasterLastPtpAnnouncePacket;
  return SameBytes(a, b, 0, offsetof(PtpAnnounceInfo, correctionField)) &&
         SameBytes(a, b, offsetof(PtpAnnounceInfo, sourcePortNumber),
                   offsetof(PtpAnnounceInfo, originTimestampSeconds)) &&
         SameBytes(a, b, offsetof(PtpAnnounceInfo, currentUtcOffset), sizeof(PtpAnnounceInfo)) &&
         SameBytes(&left, &right, offsetof(TelemetryRecord, currentUtcOffset),
                   offsetof(TelemetryRecord, announceMessagesReceived));
}

CounterSteps StepsBetween(const TelemetryRecord& before, const TelemetryRecord& record) {
  CounterSteps steps;
  steps.known = true;
  const std::uint32_t announces = Step(before.announceMessagesReceived, record.announceMessagesReceived);
  steps.announcesForeign =
      Step(before.announceForeignMessagesReceived, record.announceForeignMessagesReceived);
  steps.announces = announces - std::min(announces, steps.announcesForeign);
  steps.syncs = Step(before.syncMessagesReceived, record.syncMessagesReceived);
  steps.followUps = Step(before.followUpMessagesReceived, record.followUpMessagesReceived);
  steps.delayReqsSent = Step(before.delayReqMessagesSent, record.delayReqMessagesSent);
  steps.delayResps = Step(before.delayRespMessagesReceived, record.delayRespMessagesReceived);
  steps.discarded = Step(before.discardedMessages, record.discardedMessages);
  steps.linkErrors = Step(before.linkReceivePacketErrors, record.linkReceivePacketErrors);
  steps.linkDrops = Step(before.linkTransmitPacketsDropped, record.linkTransmitPacketsDropped);
  return steps;
}

bool AsksForDelay(const TelemetryRecord& record) {
  return record.delayReqMessagesSent > 0 ||
         record.performanceMonitoring.numberOfDelayRespSinceLastTelemetry > 0;
}

bool HasMaster(std::int32_t state) { return state >= uncalibrated && state <= followerLocked; }

void FillSecond(const TelemetryRecord& record, const CounterSteps& steps, Bucket& second) {
  second = {};
  second.records = 1;
  second.locked = record.state == followerLocked ? 1 : 0;
  if (HasMaster(record.state)) {
    second.syncsDue = Due(record.logSyncInterval, 1);
    second.respsDue = Due(record.logMinDelayReqInterval, 1);
    second.announcesDue = steps.known ? Due(record.logAnnounceInterval, 16) : 0;
    second.announces = steps.announces;
    second.followUps = steps.followUps;
    if (record.twoStepFlag != 0) second.followUpsDue = steps.syncs;
  }
  second.discarded = steps.discarded;
  second.linkErrors = steps.linkErrors;
  second.linkDrops = steps.linkDrops;
  const PerformanceMonitoring& all = record.performanceMonitoring;
  if (const std::int32_t syncs = all.numberOfSyncSinceLastTelemetry; syncs > 0) {
    second.syncs = static_cast<std::uint32_t>(syncs);
    second.offset = StatOf(all.offsetFromMaster, syncs);
    if (second.locked > 0) second.worstSecond = second.offset.mean;
  }
  if (const std::int32_t resps = all.numberOfDelayRespSinceLastTelemetry; resps > 0) {
    second.resps = static_cast<std::uint32_t>(resps);
    second.path = StatOf(all.meanPathDelay, resps);
  }
}

LoggedLinks::LoggedLinks(const EventLog& log)
    : up_(log.linkUp), links_{RunCursor(log.link[0]), RunCursor(log.link[1])} {}

void LoggedLinks::SettleDue(int sfp, const Master& master, TimedRecord& record) {
  Bucket& second = record.second;
  if (HasMaster(record.state)) {
    second.syncsDue += IsRarelyDue(master.logSyncInterval, second.start) ? 1 : 0;
    second.respsDue += IsRarelyDue(master.logDelayReqInterval, second.start) ? 1 : 0;
  }
  if (!record.asksForDelay) second.respsDue = 0;
  const std::int32_t link = links_[static_cast<std::size_t>(sfp)].At(second.start, 0);
  if (link == 0 || link == up_) return;
  second.syncsDue = 0;
  second.respsDue = 0;
  second.followUpsDue = 0;
  second.announcesDue = 0;
}

bool DifferencePairs::Add(int sfp, const Bucket& second, std::uint64_t grandmaster,
                          DifferenceBucket& difference) {
  const auto place = static_cast<std::size_t>(second.start) % length;
  Second& mine = seconds_[static_cast<std::size_t>(sfp)][place];
  mine = {second.start, second.offset.mean, grandmaster, second.locked == second.records};
  if (second.syncs == 0 || grandmaster == 0) {
    mine.time = 0;
    return false;
  }
  const Second& other = seconds_[static_cast<std::size_t>(1 - sfp)][place];
  if (other.time != mine.time || other.grandmaster != grandmaster) return false;
  const double tenths = (sfp == 0 ? mine.average - other.average : other.average - mine.average) * 10;
  if (!(std::fabs(tenths) < 4e18)) return false;
  const std::int64_t whole = Rounded(tenths);
  difference.start = second.start;
  difference.all = difference.locked = {};
  difference.all.Add(whole);
  if (mine.locked && other.locked) difference.locked.Add(whole);
  return true;
}

}  // namespace kestrune::report
