#include "ptp/follower.h"

#include <gtest/gtest.h>

#include <cstring>

#include "ptp/data_set.h"
#include "ptp/follower_record.h"
#include "ptp/profile.h"

namespace kestrune::ptp {
namespace {

constexpr PortIdentity parent{0xA, 1};
constexpr PortIdentity stranger{0xA, 2};

AnnounceMessage Announce(const PortIdentity& source, int sequenceId, std::uint8_t priority1 = 128) {
  AnnounceMessage message;
  message.sourcePortIdentity = source;
  message.sequenceId = static_cast<std::uint16_t>(sequenceId);
  message.grandmasterIdentity = source.portNumber;
  message.grandmasterPriority1 = priority1;
  return message;
}

/// Hears two Announces of `master` from the announce interval `interval` on.
void Qualify(Follower& follower, const PortIdentity& master, std::int64_t interval) {
  for (std::int64_t more = 0; more < 2; ++more) {
    const std::int64_t now = (interval + more) * announceInterval;
    follower.HearAnnounce(Announce(master, static_cast<int>(interval + more)), now);
    follower.ChooseParent(now);
  }
}

TEST(Follower, ChoosesAMasterByItsAnnounces) {
  Follower follower;
  follower.HearAnnounce(Announce(parent, 0), 0);
  follower.HearAnnounce(Announce(parent, 0), 0);
  follower.ChooseParent(0);
  EXPECT_EQ(follower.Parent(), nullptr) << "one Announce, doubled on its way";
  Qualify(follower, parent, 1);
  ASSERT_NE(follower.Parent(), nullptr);
  EXPECT_EQ(follower.State(), PortState::Uncalibrated);

  // A better master of the same clock, known by its port alone.
  follower.HearAnnounce(Announce(stranger, 1, 127), 3 * announceInterval);
  follower.ChooseParent(3 * announceInterval);
  EXPECT_EQ(follower.Parent()->sourcePortIdentity, parent) << "the other is not qualified yet";
  follower.HearAnnounce(Announce(stranger, 2, 127), 4 * announceInterval);
  follower.ChooseParent(4 * announceInterval);
  EXPECT_EQ(follower.Parent()->sourcePortIdentity, stranger);
  EXPECT_EQ(follower.Masters().size(), 2U);
  EXPECT_EQ(follower.Counters().announceForeignReceived, 5U);

  follower.ChooseParent(6 * announceInterval);
  EXPECT_NE(follower.Parent(), nullptr);
  follower.ChooseParent(7 * announceInterval);
  EXPECT_EQ(follower.Parent(), nullptr) << "the receipt timeout";
  EXPECT_EQ(follower.State(), PortState::Listening);
}

/// Invented masters that want to be remembered for minutes.
void HearMany(Follower& follower, std::uint16_t firstPort, int sequenceId, std::uint8_t priority1) {
  for (std::uint16_t port = firstPort; port < firstPort + 32; ++port) {
    AnnounceMessage message = Announce({0xB, port}, sequenceId, priority1);
    message.logMessageInterval = 6;
    follower.HearAnnounce(message, 0);
  }
}

TEST(Follower, FindsAMasterBehindManyInventedOnes) {
  Follower beside;
  HearMany(beside, 100, 0, 1);
  Qualify(beside, parent, 2);
  ASSERT_NE(beside.Parent(), nullptr);
  EXPECT_EQ(beside.Parent()->sourcePortIdentity, parent) << "the others were heard once";

  Follower before;
  for (const int sequenceId : {0, 1}) HearMany(before, 100, sequenceId, 255);
  before.HearAnnounce(Announce(parent, 0), 0);
  HearMany(before, 132, 0, 255);
  before.HearAnnounce(Announce(parent, 1), announceInterval);
  HearMany(before, 164, 0, 255);
  before.ChooseParent(announceInterval);
  ASSERT_NE(before.Parent(), nullptr);
  EXPECT_EQ(before.Parent()->sourcePortIdentity, parent) << "the others were heard twice or are worse";
  HearMany(before, 200, 0, 1);
  before.ChooseParent(announceInterval);
  EXPECT_NE(before.Parent(), nullptr) << "the worst that is known, but the parent";
}

SyncMessage Sync(int sequenceId, bool twoStep, const PortIdentity& source = parent) {
  return {.sourcePortIdentity = source,
          .sequenceId = static_cast<std::uint16_t>(sequenceId),
          .twoStepFlag = twoStep,
          .originTimestamp = twoStep ? 0 : 1000 + sequenceId * syncInterval,
          .correction = 30,
          .receiveTimestamp = 1830 + sequenceId * syncInterval};
}

FollowUpMessage FollowUp(int sequenceId, const PortIdentity& source = parent) {
  return {.sourcePortIdentity = source,
          .sequenceId = static_cast<std::uint16_t>(sequenceId),
          .preciseOriginTimestamp = 1070 + sequenceId * syncInterval,
          .correction = -70};
}

TEST(Follower, MatchesMessagesBySourceAndSequence) {
  Follower follower;
  Qualify(follower, parent, 0);
  EXPECT_EQ(follower.HearSync(Sync(1, false, stranger)), std::nullopt);
  EXPECT_EQ(follower.HearSync(Sync(65534, false)), 800);
  EXPECT_EQ(follower.HearSync(Sync(65535, true)), std::nullopt);
  EXPECT_EQ(follower.HearFollowUp(FollowUp(65535, stranger)), std::nullopt);
  EXPECT_EQ(follower.HearFollowUp(FollowUp(65535)), 800);
  // The sequence begins anew; the Follow_Up overtakes its Sync.
  EXPECT_EQ(follower.HearFollowUp(FollowUp(65536)), std::nullopt);
  EXPECT_EQ(follower.HearSync(Sync(65536, true)), 800);
  EXPECT_EQ(follower.HearSync(Sync(65537, true)), std::nullopt);
  EXPECT_EQ(follower.HearFollowUp(FollowUp(65538)), std::nullopt) << "of another Sync";
  EXPECT_EQ(follower.Counters().discarded, 0U);
  follower.EndSyncInterval();
  EXPECT_EQ(follower.Counters().discarded, 2U);
  EXPECT_EQ(follower.HearFollowUp(FollowUp(65537)), std::nullopt) << "too late";

  EXPECT_TRUE(follower.WantsDelay());
  follower.SendDelayReq();
  const std::uint16_t request = follower.SendDelayReq();
  follower.DelayReqSent(request, 5000, 5000);
  const auto respond = [&](int sequenceId, const PortIdentity& source) {
    follower.HearDelayResp({.sourcePortIdentity = source,
                            .sequenceId = static_cast<std::uint16_t>(sequenceId),
                            .receiveTimestamp = 5900,
                            .correction = 500},
                           7000);
  };
  respond(request, stranger);
  respond(request - 1, parent);
  EXPECT_EQ(follower.MeanPathDelay(), 0);
  respond(request, parent);
  EXPECT_EQ(follower.MeanPathDelay(), (800 + 400) / 2);
  respond(request, parent);
  EXPECT_EQ(follower.Counters().discarded, 3U) << "doubled on its way";

  follower.EndInterval();
  TelemetryRecord record{};
  FillRecord(follower, record);
  const PerformanceMonitoring& figures = record.performanceMonitoring;
  EXPECT_EQ(figures.numberOfSyncSinceLastTelemetry, 3);
  EXPECT_EQ(figures.originTimestampJitter.maximum.nanoseconds, 0) << "across the sequence's end";
  EXPECT_EQ(figures.numberOfDelayRespSinceLastTelemetry, 1);
  EXPECT_EQ(figures.delayReqToDelayRespDelay.sum.nanoseconds, 2000);
  EXPECT_EQ(record.twoStepFlag, 1U);
  EXPECT_EQ(record.syncMessagesReceived, 4U);
}

TEST(Follower, MeasuresOnBehindASyncOutOfItsTurn) {
  Follower follower;
  Qualify(follower, parent, 0);
  follower.HearSync(Sync(1, false));
  SyncMessage leap = Sync(2, false);
  leap.sequenceId += 60;
  follower.HearSync(leap);
  SyncMessage next = Sync(3, false);
  next.receiveTimestamp += 500;
  follower.HearSync(next);
  EXPECT_EQ(follower.OffsetFromMaster(), 800 + 500);
}

TEST(Follower, CountsWhatIsLostDoubledAndLate) {
  Follower follower;
  Qualify(follower, parent, 0);
  for (const int sequenceId : {65533, 65534, 65537, 65536, 65536, 65538, 65538}) {
    follower.HearSync(Sync(sequenceId, false));
  }
  const MessageCounters& counters = follower.Counters();
  EXPECT_EQ(counters.syncReceived, 7U);
  EXPECT_EQ(counters.syncLost, 1U) << "65535";
  EXPECT_EQ(counters.syncLate, 1U) << "65536";
  EXPECT_EQ(counters.syncDuplicate, 2U);
  EXPECT_EQ(counters.discarded, 2U);
  follower.EndInterval();
  EXPECT_EQ(follower.LastMeasurements().masterToFollowerDelay.Count(), 5);
}

TEST(IntervalStatistics, HoldsAnyNumberOfSamplesExactly) {
  IntervalStatistics statistics;
  const QuantityFigures none = statistics.Figures();
  EXPECT_EQ(none.sum.nanoseconds + none.minimum.nanoseconds + none.summedSquaredDeviation.seconds, 0);
  for (std::int64_t sample = 0; sample < 1000; ++sample) statistics.Add(100'000'000'000 + sample % 2 * 3);
  const QuantityFigures figures = statistics.Figures();
  EXPECT_EQ(statistics.Count(), 1000);
  EXPECT_EQ(figures.sum.seconds, 100'000);
  EXPECT_EQ(figures.sum.nanoseconds, 1'500);
  EXPECT_EQ(figures.minimum.nanoseconds, 0);
  EXPECT_EQ(figures.maximum.nanoseconds, 3);
  EXPECT_EQ(figures.summedSquaredDeviation.nanoseconds, 2'250) << "1000 times 1.5 squared";

  statistics.Add(-100'000'000'000);
  const QuantityFigures most = statistics.Figures();
  EXPECT_EQ(most.minimum.seconds, -100);
  EXPECT_EQ(most.summedSquaredDeviation.seconds, 2'147'483'647) << "more than a pair holds";
}

}  // namespace
}  // namespace kestrune::ptp
