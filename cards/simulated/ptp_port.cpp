#include "simulated/ptp_port.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>

namespace kestrune::simulated {
namespace {

// On the wire, Ethernet, IPv4 and UDP headers included.
constexpr std::uint32_t transportOctets = 18 + 20 + 8;
constexpr std::uint32_t announceOctets = transportOctets + 64;
constexpr std::uint32_t syncOctets = transportOctets + 44;
constexpr std::uint32_t followUpOctets = transportOctets + 44;
constexpr std::uint32_t delayReqOctets = transportOctets + 44;
constexpr std::uint32_t delayRespOctets = transportOctets + 54;
constexpr std::uint32_t managementOctets = transportOctets + 48 + 54;  // with the metadata's TLV

// announceReceiptTimeout of ST 2059-2, and window and threshold of IEEE 1588-2019, 9.3.2.4.4.
constexpr std::uint32_t receiptTimeoutMask = 0b111;
constexpr std::uint32_t foreignMasterWindowMask = 0b1111;
constexpr int foreignMasterThreshold = 2;

constexpr double syncSendJitterNs = 500;  // of the master's scheduling; the origin timestamp knows it
constexpr double turnaroundNs = 40'000;   // of the master, from Delay_Req to Delay_Resp
constexpr double turnaroundJitterNs = 3'000;
constexpr std::uint32_t pathDelayFilterLength = 32;
constexpr double pathChangeMinimumNs = 500;
constexpr double pathChangeDeviations = 6;
constexpr int samplesForPathChange = 4;

constexpr std::uint32_t syncsForCalibration = 8;
constexpr std::uint32_t delaysForCalibration = 4;
constexpr double lockThresholdNs = 500;
constexpr double unlockThresholdNs = 1'000;
constexpr int secondsForLock = 4;
constexpr int syncReceiptTimeoutSeconds = 3;
constexpr int delayReceiptTimeoutSeconds = 10;

constexpr std::uint32_t domainNumber = 127;
constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;

enum FlagOctet1 : std::uint32_t {  // IEEE 1588-2019, table 37
  currentUtcOffsetValid = 1U << 2,
  ptpTimescale = 1U << 3,
  timeTraceable = 1U << 4,
  frequencyTraceable = 1U << 5,
};

/// The flags that go with the clockClass (IEEE 1588-2019, table 4): 6 and 7 are traceable to a primary
/// reference, 13, 14, 58 and 193 serve an arbitrary time scale.
std::uint32_t FlagsOf(std::uint8_t clockClass) {
  const bool arbitrary = clockClass == 13 || clockClass == 14 || clockClass == 58 || clockClass == 193;
  const bool traceable = clockClass == 6 || clockClass == 7;
  return (arbitrary ? 0U : currentUtcOffsetValid | ptpTimescale) |
         (traceable ? timeTraceable | frequencyTraceable : 0U);
}

void StoreOctets(std::uint64_t identity, std::uint8_t (&octets)[8]) {
  for (int octet = 0; octet < 8; ++octet)
    octets[octet] = static_cast<std::uint8_t>(identity >> (56 - 8 * octet));
}

std::int32_t Saturate(std::int64_t value) {
  return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, std::numeric_limits<std::int32_t>::min(),
                                                            std::numeric_limits<std::int32_t>::max()));
}

PtpAnnounceInfo MakeAnnounceInfo(const MasterDataSet& dataSet, std::int64_t utcNanoseconds) {
  const std::int64_t originNanoseconds = utcNanoseconds + dataSet.currentUtcOffset * nanosecondsPerSecond;
  PtpAnnounceInfo info{};
  std::copy(dataSet.ipv4.begin(), dataSet.ipv4.end(), info.masterIPv4Address);
  StoreOctets(dataSet.senderIdentity, info.masterClockId);
  info.domainNumber = domainNumber;
  info.flagFieldOctet1 = FlagsOf(dataSet.clockClass);
  info.logMessageInterval = logAnnounceInterval;
  info.sourcePortNumber = 1;
  info.originTimestampSeconds = static_cast<std::uint64_t>(originNanoseconds / nanosecondsPerSecond);
  info.originTimestampNanoseconds = static_cast<std::uint32_t>(originNanoseconds % nanosecondsPerSecond);
  info.currentUtcOffset = dataSet.currentUtcOffset;
  info.grandmasterPriority1 = dataSet.priority1;
  info.grandmasterClockClass = dataSet.clockClass;
  info.grandmasterClockAccuracy = dataSet.clockAccuracy;
  info.grandmasterOffsetScaledLogVariance = dataSet.offsetScaledLogVariance;
  info.grandmasterPriority2 = dataSet.priority2;
  StoreOctets(dataSet.grandmasterIdentity, info.grandmasterIdentity);
  info.stepsRemoved = dataSet.stepsRemoved;
  info.timeSource = dataSet.timeSource;
  return info;
}

}  // namespace

PtpPort::PtpPort(const PtpNetwork& network, std::size_t sfp, const Sfp& settings, Random link,
                 Random messages)
    : network_(network),
      sfp_(sfp),
      link_(settings, link),
      random_(messages),
      foreignMasters_(network.Count()) {
  record_.sfp = static_cast<std::uint8_t>(sfp);
  record_.logAnnounceInterval = logAnnounceInterval;
  record_.logSyncInterval = logSyncInterval;
  record_.logMinDelayReqInterval = logMinDelayReqInterval;
}

void PtpPort::HearAnnounces(std::int64_t utcNanoseconds) {
  for (std::size_t master = 0; master < foreignMasters_.size(); ++master) {
    ForeignMaster& foreign = foreignMasters_[master];
    foreign.heard <<= 1;
    if (!network_.Reaches(master, sfp_) || !link_.Receive(announceOctets)) continue;
    foreign.heard |= 1;
    foreign.dataSet = network_.DataSet(master);
    foreign.announcedUtcNanoseconds = utcNanoseconds + std::llround(network_.TimeError(master));
    ++record_.announceMessagesReceived;
    if (master != parent_) ++record_.announceForeignMessagesReceived;
  }
  ChooseParent();
}

void PtpPort::HearManagement() {
  if (parent_ && network_.Reaches(*parent_, sfp_) && link_.Receive(managementOctets)) {
    ++record_.managementMessagesReceived;
  }
}

std::optional<std::int64_t> PtpPort::HearSync(const CardClock& clock) {
  if (!parent_ || !network_.Reaches(*parent_, sfp_)) return std::nullopt;
  const bool synced = link_.Receive(syncOctets);
  record_.syncMessagesReceived += synced;
  if (network_.DataSet(*parent_).twoStep) {
    const bool followed = link_.Receive(followUpOctets);
    record_.followUpMessagesReceived += followed;
    if (synced != followed) {
      ++record_.discardedMessages;
      return std::nullopt;
    }
  }
  if (!synced) return std::nullopt;

  const double masterError = network_.TimeError(*parent_);
  const std::int64_t deviation = std::llround(masterError + syncSendJitterNs * random_.Gaussian());
  originJitter_.Add(deviation - originDeviationNs_.value_or(deviation));
  originDeviationNs_ = deviation;

  const std::int64_t delay = std::llround(link_.DrawReceiveDelay() + clock.Error() - masterError);
  masterToFollower_.Add(delay);
  masterToFollowerNs_ = static_cast<double>(delay);
  // IEEE 1588-2019, 11.2; the path delay counts as 0 until it is measured.
  offsetNs_ = std::llround(masterToFollowerNs_ - meanPathDelayNs_);
  offset_.Add(offsetNs_);
  ++syncsMeasured_;
  return offsetNs_;
}

void PtpPort::ExchangeDelay(const CardClock& clock, double slotRestSeconds) {
  if (!parent_ || syncsMeasured_ == 0 || !link_.SignalPresent()) return;
  ++record_.delayReqMessagesSent;
  const double seconds = slotRestSeconds * random_.Uniform();
  if (!link_.Transmit(delayReqOctets) || !network_.Reaches(*parent_, sfp_) ||
      !link_.Receive(delayRespOctets)) {
    return;
  }
  ++record_.delayRespMessagesReceived;
  MeasurePathDelay(clock, seconds);
}

void PtpPort::MeasurePathDelay(const CardClock& clock, double seconds) {
  const double there = link_.DrawTransmitDelay();
  const double back = link_.DrawReceiveDelay();
  const double turnaround = turnaroundNs + turnaroundJitterNs * random_.Gaussian();
  const double clockError = clock.ErrorAfter(seconds) - network_.TimeError(*parent_);
  const std::int64_t followerToMaster = std::llround(there - clockError);
  const double sample = (masterToFollowerNs_ + static_cast<double>(followerToMaster)) / 2;  // 11.3
  followerToMaster_.Add(followerToMaster);
  meanPathDelay_.Add(std::llround(sample));
  requestToResponse_.Add(std::llround(there + turnaround + back));
  ++delaysMeasured_;
  FilterPathDelay(sample);
}

/// A running mean that starts anew when the samples say that the path has changed.
void PtpPort::FilterPathDelay(double sampleNs) {
  const double deviation = sampleNs - meanPathDelayNs_;
  const double limit = std::max(pathChangeMinimumNs, pathChangeDeviations * pathDelayDeviationNs_);
  const int sign = deviation > 0 ? 1 : -1;
  if (std::abs(deviation) <= limit) {
    pathDelayOutliers_ = 0;
  } else {
    pathDelayOutliers_ = pathDelayOutliers_ * sign > 0 ? pathDelayOutliers_ + sign : sign;
  }
  if (pathDelaySamples_ == 0 || std::abs(pathDelayOutliers_) >= samplesForPathChange) {
    meanPathDelayNs_ = sampleNs;
    pathDelayOutliers_ = 0;
    pathDelaySamples_ = 1;
    return;
  }
  pathDelaySamples_ = std::min(pathDelaySamples_ + 1, pathDelayFilterLength);
  meanPathDelayNs_ += deviation / pathDelaySamples_;
  pathDelayDeviationNs_ += (std::abs(deviation) - pathDelayDeviationNs_) / pathDelayFilterLength;
}

bool PtpPort::Calibrated() const {
  return parent_ && syncsMeasured_ >= syncsForCalibration && delaysMeasured_ >= delaysForCalibration;
}

bool PtpPort::Qualified(std::size_t master) const {
  const std::uint32_t heard = foreignMasters_[master].heard;
  if (master == parent_ && (heard & receiptTimeoutMask) != 0) return true;
  return std::popcount(heard & foreignMasterWindowMask) >= foreignMasterThreshold &&
         (heard & receiptTimeoutMask) != 0;
}

void PtpPort::ChooseParent() {
  std::optional<std::size_t> best;
  for (std::size_t master = 0; master < foreignMasters_.size(); ++master) {
    if (!Qualified(master)) continue;
    if (!best || IsBetter(foreignMasters_[master].dataSet, foreignMasters_[*best].dataSet)) best = master;
  }
  if (best == parent_) return;
  parent_ = best;
  state_ = best ? PtpState::Uncalibrated : PtpState::Listening;
  ForgetMeasurements();
}

void PtpPort::ForgetMeasurements() {
  syncsMeasured_ = 0;
  delaysMeasured_ = 0;
  meanPathDelayNs_ = 0;
  pathDelaySamples_ = 0;
  pathDelayDeviationNs_ = 0;
  pathDelayOutliers_ = 0;
  offsetNs_ = 0;
  secondsSettled_ = 0;
  originDeviationNs_.reset();
}

void PtpPort::DecideState() {
  const bool synced = offset_.Count() > 0;
  secondsWithoutSync_ = synced ? 0 : secondsWithoutSync_ + 1;
  secondsWithoutDelay_ = meanPathDelay_.Count() > 0 ? 0 : secondsWithoutDelay_ + 1;
  if (!parent_) return;
  if (secondsWithoutSync_ >= syncReceiptTimeoutSeconds) ForgetMeasurements();

  const double offset = std::abs(offset_.Mean());
  const bool usable = synced && secondsWithoutDelay_ < delayReceiptTimeoutSeconds;
  secondsSettled_ = usable && offset < lockThresholdNs ? secondsSettled_ + 1 : 0;
  if (!Calibrated() || offset > stepThresholdNs) {
    state_ = PtpState::Uncalibrated;
    secondsSettled_ = 0;
  } else if (state_ == PtpState::FollowerLocked) {
    if (!usable || offset > unlockThresholdNs) state_ = PtpState::FollowerUnlocked;
  } else {
    state_ = secondsSettled_ >= secondsForLock ? PtpState::FollowerLocked : PtpState::FollowerUnlocked;
  }
}

void PtpPort::CloseInterval() {
  DecideState();
  PerformanceMonitoring& figures = record_.performanceMonitoring;
  figures.numberOfSyncSinceLastTelemetry = static_cast<std::int32_t>(offset_.Count());
  figures.masterToFollowerDelay = masterToFollower_.Figures();
  figures.originTimestampJitter = originJitter_.Figures();
  figures.offsetFromMaster = offset_.Figures();
  figures.numberOfDelayRespSinceLastTelemetry = static_cast<std::int32_t>(meanPathDelay_.Count());
  figures.meanPathDelay = meanPathDelay_.Figures();
  figures.followerToMasterDelay = followerToMaster_.Figures();
  figures.delayReqToDelayRespDelay = requestToResponse_.Figures();
  for (SampleStatistics* samples : {&masterToFollower_, &originJitter_, &offset_, &meanPathDelay_,
                                    &followerToMaster_, &requestToResponse_}) {
    samples->Clear();
  }

  record_.offsetFromMaster = Saturate(offsetNs_);
  record_.averagePathDelay = Saturate(std::llround(meanPathDelayNs_));
  const SecondsNanoseconds correction = SplitNanoseconds(lastCorrectionNs_);
  record_.lastCorrectionSeconds = correction.seconds;
  record_.lastCorrectionNanoseconds = correction.nanoseconds;
  record_.state = static_cast<std::int32_t>(state_);
  FillMasters();
  FillTimeProperties();
  link_.CloseInterval(record_);
}

void PtpPort::FillMasters() {
  std::array<const ForeignMaster*, std::size(TelemetryRecord{}.listOfPtpMaster)> best{};
  std::size_t count = 0;
  for (std::size_t master = 0; master < foreignMasters_.size(); ++master) {
    if (!Qualified(master)) continue;
    const ForeignMaster* foreign = &foreignMasters_[master];
    for (std::size_t place = 0; place < best.size() && foreign != nullptr; ++place) {
      if (best[place] == nullptr || IsBetter(foreign->dataSet, best[place]->dataSet)) {
        std::swap(foreign, best[place]);
      }
    }
    count = std::min(count + 1, best.size());
  }
  record_.numberOfPtpMasters = static_cast<std::int32_t>(count);
  for (std::size_t place = 0; place < best.size(); ++place) {
    PtpAnnounceInfo& entry = record_.listOfPtpMaster[place];
    entry = {};
    if (best[place] != nullptr) {
      entry = MakeAnnounceInfo(best[place]->dataSet, best[place]->announcedUtcNanoseconds);
    }
  }
}

void PtpPort::FillTimeProperties() {
  record_.bestMasterLastPtpAnnouncePacket = {};
  const MasterDataSet none;
  const MasterDataSet& parent = parent_ ? foreignMasters_[*parent_].dataSet : none;
  if (parent_) {
    record_.bestMasterLastPtpAnnouncePacket =
        MakeAnnounceInfo(parent, foreignMasters_[*parent_].announcedUtcNanoseconds);
  }
  const std::uint32_t flags = record_.bestMasterLastPtpAnnouncePacket.flagFieldOctet1;
  StoreOctets(parent.senderIdentity, record_.bestMasterClockId);
  record_.currentUtcOffset = parent.currentUtcOffset;
  record_.currentUtcOffsetValid = (flags & currentUtcOffsetValid) != 0;
  record_.twoStepFlag = parent.twoStep;
  record_.timeTraceable = (flags & timeTraceable) != 0;
  record_.frequencyTraceable = (flags & frequencyTraceable) != 0;
  record_.ptpTimescale = (flags & ptpTimescale) != 0;
  record_.timeSource = parent.timeSource;
}

}  // namespace kestrune::simulated
