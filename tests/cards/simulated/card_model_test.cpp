#include "simulated/card_model.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <memory>
#include <vector>

namespace kestrune::simulated {
namespace {

using testing::ElementsAre;

constexpr std::int64_t startEpoch = 1'700'000'000;
constexpr std::uint64_t firstMaster = 0x00'11'22'FF'FE'00'00'01;
constexpr std::uint64_t secondMaster = 0x00'11'22'FF'FE'00'00'02;

enum State { listening = 4, uncalibrated = 8, followerUnlocked = 9, followerLocked = 10 };

/// One card and two masters, the first one the better for its identity.
Scenario TwoMasters() {
  Scenario scenario;
  scenario.cards.resize(1);
  scenario.grandmasters.resize(2);
  scenario.grandmasters[0].clockIdentity = firstMaster;
  scenario.grandmasters[1].clockIdentity = secondMaster;
  return scenario;
}

struct AwakeModel : CardModel {
  AwakeModel(const Scenario& scenario, std::size_t card)
      : CardModel(std::make_shared<const Scenario>(scenario), card) {
    Wake(startEpoch * 1'000'000'000);
  }
};

AwakeModel MakeModel(const Scenario& scenario, std::size_t card = 0) { return {scenario, card}; }

Event MakeEvent(double at, EventKind kind, std::size_t sfp = 0, std::int32_t value = 0) {
  Event event;
  event.at = at;
  event.kind = kind;
  event.sfp = sfp;
  event.value = value;
  return event;
}

double Nanoseconds(std::int32_t seconds, std::int32_t nanoseconds) { return seconds * 1e9 + nanoseconds; }

/// A quantity's figures over an interval, in nanoseconds.
struct Figures {
  Figures(const QuantityFigures& figures, std::int32_t count)
      : mean(count == 0 ? 0 : Nanoseconds(figures.sum.seconds, figures.sum.nanoseconds) / count),
        minimum(Nanoseconds(figures.minimum.seconds, figures.minimum.nanoseconds)),
        maximum(Nanoseconds(figures.maximum.seconds, figures.maximum.nanoseconds)),
        ssd(Nanoseconds(figures.summedSquaredDeviation.seconds, figures.summedSquaredDeviation.nanoseconds)) {
  }

  double mean;
  double minimum;
  double maximum;
  double ssd;
};

Figures Offset(const TelemetryRecord& record) {
  const PerformanceMonitoring& figures = record.performanceMonitoring;
  return {figures.offsetFromMaster, figures.numberOfSyncSinceLastTelemetry};
}

Figures PathDelay(const TelemetryRecord& record) {
  const PerformanceMonitoring& figures = record.performanceMonitoring;
  return {figures.meanPathDelay, figures.numberOfDelayRespSinceLastTelemetry};
}

CardModel::Step AdvanceTo(CardModel& model, std::int64_t time) {
  CardModel::Step second;
  while (model.Now() < time) second = model.Advance();
  return second;
}

/// Means of a figure of one SFP's record over the next `seconds`.
double MeanOver(CardModel& model, int seconds, std::size_t sfp,
                const std::function<Figures(const TelemetryRecord&)>& figures) {
  double sum = 0;
  for (int second = 0; second < seconds; ++second) sum += figures(model.Advance().telemetry.at(sfp)).mean;
  return sum / seconds;
}

TEST(CardModel, LocksFromColdStartAndStaysWithinTheJitter) {
  for (const double frequencyErrorPpb : {0.0, 800.0, -50'000.0}) {
    for (const double jitterNs : {5.0, 100.0}) {
      SCOPED_TRACE(testing::Message() << frequencyErrorPpb << " ppb, jitter " << jitterNs << " ns");
      Scenario scenario = TwoMasters();
      scenario.cards[0].warmUpSeconds = 0;
      scenario.cards[0].oscillator.frequencyErrorPpb = frequencyErrorPpb;
      for (Sfp& sfp : scenario.cards[0].sfps) sfp.path.jitterNs = jitterNs;
      AwakeModel model = MakeModel(scenario);
      EXPECT_EQ(model.ReadSt2059SfpStatus(0).state, listening);

      std::vector<int> states{listening};
      while (model.Now() < 20) {
        const int state = model.Advance().telemetry[0].state;
        if (state != states.back()) states.push_back(state);
      }
      EXPECT_THAT(states, ElementsAre(listening, uncalibrated, followerUnlocked, followerLocked));
      AdvanceTo(model, 60);
      // A sample carries the jitter of one Sync; the filtered path delay and the servo add less than another
      // tenth of its variance each, the oscillator's wander a few nanoseconds. Six standard deviations and a
      // bit.
      const double bound = 7 * jitterNs + 10;
      for (int second = 0; second < 600; ++second) {
        const CardModel::Step passed = model.Advance();
        ASSERT_EQ(passed.telemetry[0].lastCorrection.nanoseconds, -passed.telemetry[0].offsetFromMaster);
        for (const TelemetryRecord& record : passed.telemetry) {
          ASSERT_EQ(record.state, followerLocked);
          ASSERT_GT(Offset(record).minimum, -bound);
          ASSERT_LT(Offset(record).maximum, bound);
        }
      }
    }
  }
}

TEST(CardModel, ShowsAsymmetryAsTheOffsetBetweenTheSfps) {
  Scenario scenario = TwoMasters();
  scenario.cards[0].sfps[0].path.asymmetryNs = 400;
  scenario.cards[0].sfps[1].path.asymmetryNs = -100;
  scenario.cards[0].sfps[1].path.delayNs = 2500;
  // The card follows SFP A, so its clock is wrong by A's asymmetry without A showing it.
  AwakeModel model = MakeModel(scenario);
  AwakeModel again = MakeModel(scenario);
  AwakeModel third = MakeModel(scenario);
  EXPECT_NEAR(MeanOver(model, 100, 0, Offset), 0, 3);
  EXPECT_NEAR(MeanOver(again, 100, 1, Offset), -500, 5);
  EXPECT_NEAR(MeanOver(third, 100, 1, PathDelay), 2500, 5);
  EXPECT_NEAR(MeanOver(third, 100, 0, PathDelay), 1500, 5);
}

TEST(CardModel, FailsOverToTheNextMasterAndTakesItsTime) {
  for (const double timeErrorNs : {3e3, -1e6}) {
    SCOPED_TRACE(timeErrorNs);
    Scenario scenario = TwoMasters();
    scenario.grandmasters[1].timeErrorNs = timeErrorNs;
    scenario.grandmasters[1].portClockIdentity = 0xABCD;
    scenario.events = {MakeEvent(10, EventKind::GrandmasterLost), MakeEvent(100, EventKind::GrandmasterBack)};
    AwakeModel model = MakeModel(scenario);

    TelemetryRecord record = AdvanceTo(model, 10).telemetry[0];
    EXPECT_EQ(record.numberOfPtpMasters, 2);
    EXPECT_EQ(record.listOfPtpMaster[0].grandmasterIdentity[7], firstMaster & 0xFF);
    EXPECT_EQ(record.listOfPtpMaster[1].grandmasterIdentity[7], secondMaster & 0xFF);

    CardModel::Step second = model.Advance();  // three announce intervals are less than a second
    EXPECT_TRUE(second.st2059Changed);
    EXPECT_EQ(second.telemetry[0].state, uncalibrated);
    EXPECT_EQ(second.telemetry[0].numberOfPtpMasters, 1);
    EXPECT_EQ(second.telemetry[0].bestMasterClockId[7], 0xCD);
    EXPECT_EQ(model.ReadSt2059Status().bestMasterClockId, 0xABCDU);
    EXPECT_EQ(model.ReadSt2059Status().grandMasterClockId, secondMaster);
    EXPECT_NEAR(Offset(second.telemetry[0]).minimum + Offset(second.telemetry[0]).maximum, -2 * timeErrorNs,
                2500);

    // The follower steps or slews; a critically damped loop overshoots by e⁻² of what it slews.
    AdvanceTo(model, 13);
    while (model.Now() < 80) {
      record = model.Advance().telemetry[0];
      EXPECT_GT(-Offset(record).mean * std::copysign(1, timeErrorNs), -0.2 * 3e3);
    }
    EXPECT_EQ(record.state, followerLocked);
    EXPECT_NEAR(Offset(record).mean, 0, 100);

    record = AdvanceTo(model, 102).telemetry[0];
    EXPECT_EQ(model.ReadSt2059Status().grandMasterClockId, firstMaster);
    EXPECT_NE(record.state, followerLocked);
    AdvanceTo(model, 170);
    EXPECT_EQ(model.ReadSt2059Status().state, followerLocked);
  }
}

TEST(CardModel, ComparesMastersAttributeByAttribute) {
  struct Case {
    const char* what;
    std::function<void(Grandmaster& first, Grandmaster& second)> change;
    std::uint64_t best;
  };
  const Case cases[] = {
      {"identity", [](Grandmaster&, Grandmaster&) {}, firstMaster},
      {"priority2 before identity", [](Grandmaster&, Grandmaster& b) { b.priority2 = 1; }, secondMaster},
      {"variance before priority2",
       [](Grandmaster& a, Grandmaster& b) { a.priority2 = 1, b.offsetScaledLogVariance = 1; }, secondMaster},
      {"accuracy before variance",
       [](Grandmaster& a, Grandmaster& b) { a.offsetScaledLogVariance = 1, b.clockAccuracy = 0x20; },
       secondMaster},
      {"class before accuracy",
       [](Grandmaster& a, Grandmaster& b) { a.clockAccuracy = 0x20, a.clockClass = 7, b.clockClass = 6; },
       secondMaster},
      {"priority1 before class",
       [](Grandmaster& a, Grandmaster& b) { b.clockClass = 248, b.priority1 = a.priority1 - 1; },
       secondMaster},
      {"not by steps removed", [](Grandmaster& a, Grandmaster&) { a.stepsRemoved = 3; }, firstMaster},
  };
  for (const Case& row : cases) {
    SCOPED_TRACE(row.what);
    Scenario scenario = TwoMasters();
    row.change(scenario.grandmasters[0], scenario.grandmasters[1]);
    EXPECT_EQ(MakeModel(scenario).ReadSt2059Status().grandMasterClockId, row.best);
  }
  Scenario twoWays = TwoMasters();
  twoWays.grandmasters[1].clockIdentity = firstMaster;
  twoWays.grandmasters[0].stepsRemoved = 2;
  twoWays.grandmasters[1].stepsRemoved = 1;
  twoWays.grandmasters[1].portClockIdentity = secondMaster;
  EXPECT_EQ(MakeModel(twoWays).ReadSt2059Status().bestMasterClockId, secondMaster);
}

TEST(CardModel, FollowsTheOtherSfpWhileAFibreIsOut) {
  Scenario scenario = TwoMasters();
  scenario.events = {MakeEvent(10, EventKind::FibrePulled), MakeEvent(20, EventKind::FibreBack),
                     MakeEvent(40, EventKind::ModuleRemoved, 1), MakeEvent(50, EventKind::ModuleInserted, 1)};
  AwakeModel model = MakeModel(scenario);
  std::vector<std::int64_t> changes[2];
  std::vector<std::int64_t> selections;
  while (model.Now() < 60) {
    const int selected = model.ReadSt2059Status().bestMasterSfp;
    const CardModel::Step second = model.Advance();
    for (std::size_t sfp = 0; sfp < 2; ++sfp) {
      if (second.sfpIpChanged[sfp]) changes[sfp].push_back(model.Now());
    }
    if (model.ReadSt2059Status().bestMasterSfp != selected) {
      selections.push_back(model.Now());
      EXPECT_TRUE(second.st2059Changed);
    }
    EXPECT_EQ(model.ReadSt2059Status().state, followerLocked);
    if (model.Now() > 10 && model.Now() <= 20) {
      const TelemetryRecord& record = second.telemetry[0];
      EXPECT_EQ(record.state, listening);
      EXPECT_EQ(record.performanceMonitoring.numberOfSyncSinceLastTelemetry, 0);
      EXPECT_EQ(record.performanceMonitoring.numberOfDelayRespSinceLastTelemetry, 0);
      EXPECT_EQ(record.linkReceiveRate + record.linkTransmitRate, 0U);
      EXPECT_EQ(record.numberOfPtpMasters, 0);
    }
    EXPECT_EQ(second.telemetry.size(), model.Now() >= 40 && model.Now() < 50 ? 1U : 2U);
    EXPECT_EQ(model.ReadSfpIpStatus(0).signalPresent != 0, model.Now() < 10 || model.Now() >= 20);
    EXPECT_EQ(model.ReadSfpIpStatus(1).modulePresent != 0, model.Now() < 40 || model.Now() >= 50);
  }
  EXPECT_THAT(changes[0], ElementsAre(10, 20));
  EXPECT_THAT(changes[1], ElementsAre(40, 50));
  ASSERT_EQ(selections.size(), 2U);  // to SFP B by the announce timeout, back once SFP A is locked again
  EXPECT_EQ(selections[0], 11);
  EXPECT_GT(selections[1], 24);
}

TEST(CardModel, KeepsToTheSelectedSfpAndHoldsItsFrequency) {
  Scenario scenario = TwoMasters();
  scenario.cards[0].bestMasterSfpSelection = 3;
  scenario.events = {MakeEvent(10, EventKind::FibrePulled, 1), MakeEvent(40, EventKind::FibreBack, 1)};
  AwakeModel model = MakeModel(scenario);
  EXPECT_EQ(model.ReadSt2059Status().bestMasterSfp, 2);
  const CardModel::Step second = AdvanceTo(model, 40);
  EXPECT_EQ(model.ReadSt2059Status().state, listening);
  EXPECT_EQ(model.ReadSt2059Status().bestMasterSfp, 2);
  EXPECT_EQ(model.ReadSt2059Status().grandMasterClockId, 0U);
  // In 30 s the oscillator walks away by its wander × sqrt(30³ / 3), and by the servo's last frequency error,
  // which is below the jitter times the servo's proportional gain of 0.3 / s.
  const Card& card = scenario.cards[0];
  const double bound =
      4 * card.oscillator.wanderPpb * std::sqrt(9000.0) + 30 * 0.3 * 4 * card.sfps[1].path.jitterNs;
  EXPECT_NEAR(Offset(second.telemetry[0]).mean, 0, bound);
  AdvanceTo(model, 60);
  EXPECT_EQ(model.ReadSt2059Status().state, followerLocked);
}

TEST(CardModel, FollowsAPathDelayStepWithoutMovingTheClock) {
  for (const double delayNs : {1800.0, 60'000.0}) {
    SCOPED_TRACE(delayNs);
    Scenario scenario = TwoMasters();
    scenario.events = {MakeEvent(10, EventKind::PathChange)};
    scenario.events[0].path.delayNs = delayNs;
    AwakeModel model = MakeModel(scenario);
    AdvanceTo(model, 10);
    TelemetryRecord record;
    while (model.Now() < 30) {
      const CardModel::Step second = model.Advance();
      record = second.telemetry[0];
      // A filtered path delay lags, so the servo follows a small step for a while.
      EXPECT_LT(std::abs(Offset(second.telemetry[1]).mean), 400);
    }
    EXPECT_NEAR(record.averagePathDelay, delayNs, 20);
    EXPECT_EQ(record.state, followerLocked);
  }
}

void ExpectConsistent(const Figures& figures, std::int32_t count) {
  EXPECT_LE(figures.minimum, figures.mean);
  EXPECT_LE(figures.mean, figures.maximum);
  EXPECT_GE(figures.ssd, 0);
  const double spread = figures.maximum - figures.minimum;
  EXPECT_LE(figures.ssd, count * spread * spread / 4 + 1);
  EXPECT_GE(figures.ssd, count < 2 ? 0 : spread * spread / 2 - 1);
}

TEST(CardModel, RecordsAgreeWithThemselvesUnderLoss) {
  constexpr double loss = 0.1;
  constexpr int seconds = 2000;
  Scenario scenario = TwoMasters();
  for (Sfp& sfp : scenario.cards[0].sfps) sfp.path.lossProbability = loss;
  AwakeModel model = MakeModel(scenario);
  TelemetryRecord last = model.Advance().telemetry[1];
  double syncs = 0;
  double responses = 0;
  for (int second = 0; second < seconds; ++second) {
    const TelemetryRecord record = model.Advance().telemetry[1];
    const PerformanceMonitoring& figures = record.performanceMonitoring;
    const std::int32_t syncCount = figures.numberOfSyncSinceLastTelemetry;
    const std::int32_t delayCount = figures.numberOfDelayRespSinceLastTelemetry;
    ExpectConsistent({figures.masterToFollowerDelay, syncCount}, syncCount);
    ExpectConsistent({figures.originTimestampJitter, syncCount}, syncCount);
    ExpectConsistent({figures.offsetFromMaster, syncCount}, syncCount);
    ExpectConsistent({figures.meanPathDelay, delayCount}, delayCount);
    ExpectConsistent({figures.followerToMasterDelay, delayCount}, delayCount);
    ExpectConsistent({figures.delayReqToDelayRespDelay, delayCount}, delayCount);
    EXPECT_EQ(record.delayRespMessagesReceived - last.delayRespMessagesReceived,
              static_cast<std::uint32_t>(delayCount));
    // A Sync or a Follow_Up without the other is discarded.
    EXPECT_EQ(record.syncMessagesReceived - last.syncMessagesReceived + record.followUpMessagesReceived -
                  last.followUpMessagesReceived,
              2U * static_cast<std::uint32_t>(syncCount) + record.discardedMessages - last.discardedMessages);
    EXPECT_LE(record.delayReqMessagesSent - last.delayReqMessagesSent, 8U);
    EXPECT_LE(record.announceMessagesReceived - last.announceMessagesReceived, 8U);
    EXPECT_GT(record.linkPacketsReceived, last.linkPacketsReceived);
    EXPECT_GT(record.linkPacketsTransmitted, last.linkPacketsTransmitted);
    EXPECT_GT(record.linkReceivePacketErrors, last.linkReceivePacketErrors);
    syncs += syncCount;
    responses += delayCount;
    last = record;
  }
  // Both need two messages; an announce timeout, of probability loss³ per interval, costs at most half a
  // second.
  const double both = (1 - loss) * (1 - loss);
  const double timeouts = 4 * loss * loss * loss;
  const double sigmas = 5 * std::sqrt(both * (1 - both) / (8.0 * seconds));
  EXPECT_NEAR(syncs / (8 * seconds), both, sigmas + timeouts);
  EXPECT_NEAR(responses / (8 * seconds), both, sigmas + timeouts);
}

TEST(CardModel, LosesTheLockWhenItCannotTransmit) {
  Scenario scenario = TwoMasters();
  scenario.events = {MakeEvent(10, EventKind::TransmitError, 0, 1),
                     MakeEvent(40, EventKind::TransmitError, 0, 0)};
  AwakeModel model = MakeModel(scenario);
  const TelemetryRecord before = AdvanceTo(model, 10).telemetry[0];
  EXPECT_EQ(model.ReadSfpIpStatus(0).transmitError, 1);
  const TelemetryRecord during = AdvanceTo(model, 40).telemetry[0];
  EXPECT_EQ(during.state, followerUnlocked);
  EXPECT_EQ(during.delayRespMessagesReceived, before.delayRespMessagesReceived);
  EXPECT_EQ(during.delayReqMessagesSent, before.delayReqMessagesSent + 8 * 30);
  EXPECT_GT(during.linkTransmitPacketsDropped, before.linkTransmitPacketsDropped + 8 * 30);
  EXPECT_EQ(during.performanceMonitoring.numberOfSyncSinceLastTelemetry, 8);
  EXPECT_EQ(model.ReadSt2059Status().bestMasterSfp, 2);
  EXPECT_EQ(AdvanceTo(model, 50).telemetry[0].state, followerLocked);
}

TEST(CardModel, AnnouncesTheNetworksTime) {
  Scenario scenario = TwoMasters();
  scenario.grandmasters[0].timeErrorNs = 1'500'000'000;
  scenario.grandmasters.push_back(scenario.grandmasters[1]);
  scenario.grandmasters[2].clockIdentity = secondMaster + 1;
  AwakeModel model = MakeModel(scenario);
  const TelemetryRecord before = AdvanceTo(model, 5).telemetry[0];
  const TelemetryRecord record = AdvanceTo(model, 10).telemetry[0];
  EXPECT_EQ(record.announceMessagesReceived - before.announceMessagesReceived, 5U * 4 * 3);
  EXPECT_EQ(record.announceForeignMessagesReceived - before.announceForeignMessagesReceived, 5U * 4 * 2);
  const PtpAnnounceInfo& announce = record.bestMasterLastPtpAnnouncePacket;
  // The last of the four announces of the tenth second, a quarter before its end.
  EXPECT_EQ(announce.originTimestampSeconds, static_cast<std::uint64_t>(startEpoch + 37 + 11));
  EXPECT_EQ(announce.originTimestampNanoseconds, 250'000'000U);
}

TEST(CardModel, ReportsRawValuesAndRepeatsEvents) {
  Scenario scenario = TwoMasters();
  Event genlock = MakeEvent(4, EventKind::Genlock);
  genlock.genlockState = 2;
  genlock.every = 10;
  genlock.times = 3;
  Event relock = genlock;
  relock.at = 5;
  relock.genlockState = 1;
  relock.times = 0;
  Event index = MakeEvent(3, EventKind::SfpIndex, 1, 7);
  index.count = 2;
  scenario.events = {genlock,
                     relock,
                     index,
                     MakeEvent(2, EventKind::PortState, 0, 77),
                     MakeEvent(6, EventKind::PortState, 0, 0),
                     MakeEvent(8, EventKind::CardState, 0, -3),
                     MakeEvent(8, EventKind::BestMasterSfp, 0, 9),
                     MakeEvent(9, EventKind::CardState),
                     MakeEvent(9, EventKind::BestMasterSfp),
                     MakeEvent(12, EventKind::BestMasterSelection, 0, 5),
                     MakeEvent(13, EventKind::LinkSpeed, 1, 6)};
  AwakeModel model = MakeModel(scenario);
  std::vector<std::int64_t> genlockChanges;
  std::vector<std::int64_t> st2059Changes;
  std::vector<int> indexes;
  while (model.Now() < 60) {
    const CardModel::Step second = model.Advance();
    if (second.genlockChanged) genlockChanges.push_back(model.Now());
    if (second.st2059Changed) st2059Changes.push_back(model.Now());
    if (model.Now() <= 6) indexes.push_back(second.telemetry[1].sfp);
    EXPECT_EQ(second.telemetry[0].state, model.Now() >= 2 && model.Now() < 6 ? 77 : followerLocked);
    EXPECT_EQ(second.telemetry[1].linkSpeed, model.Now() >= 13 ? 6U : 1U);
    EXPECT_EQ(model.ReadSt2059Status().state, model.Now() == 8 ? -3 : followerLocked);
    EXPECT_EQ(model.ReadSt2059Status().bestMasterSfp, model.Now() == 8 ? 9 : 1);
    EXPECT_EQ(model.ReadSt2059Settings().bestMasterSfpSelection, model.Now() >= 12 ? 5U : 1U);
  }
  EXPECT_THAT(genlockChanges, ElementsAre(4, 5, 14, 15, 24, 25));
  EXPECT_THAT(st2059Changes, ElementsAre(2, 6, 8, 9, 12));
  EXPECT_THAT(indexes, ElementsAre(1, 1, 7, 7, 1, 1));
}

TEST(CardModel, SameScenarioSameRecords) {
  Scenario scenario = TwoMasters();
  scenario.cards.resize(2);
  Scenario otherSeed = scenario;
  otherSeed.seed = 2;
  AwakeModel models[] = {MakeModel(scenario), MakeModel(scenario), MakeModel(scenario, 1),
                         MakeModel(otherSeed)};
  for (int second = 0; second < 100; ++second) {
    const TelemetryRecord first = models[0].Advance().telemetry[0];
    const TelemetryRecord same = models[1].Advance().telemetry[0];
    ASSERT_EQ(std::memcmp(&first, &same, sizeof first), 0);
    for (AwakeModel* model : {&models[2], &models[3]}) {
      const TelemetryRecord other = model->Advance().telemetry[0];
      ASSERT_NE(std::memcmp(&first.performanceMonitoring, &other.performanceMonitoring,
                            sizeof first.performanceMonitoring),
                0);
    }
  }
}

}  // namespace
}  // namespace kestrune::simulated
