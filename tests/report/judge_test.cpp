#include <gmock/gmock.h>

#include <numeric>

#include "report/scene.h"
#include "report/summary.h"
#include "report/texts.h"

namespace kestrune::report {
namespace {

using ::testing::HasSubstr;

constexpr std::int64_t hour = 3600;

std::int64_t Minutes(std::int64_t count) { return 60 * count; }

const Finding* FindingOf(const Episode& episode, Cause cause) {
  const auto found = std::ranges::find(episode.findings, cause, &Finding::cause);
  return found == episode.findings.end() ? nullptr : &*found;
}

TEST(Episodes, HoldWhatAPulledFibreBroughtAbout) {
  Scene scene;
  scene.Play(hour, [](std::int64_t i, SceneSecond& now) {
    Side& side = now.sfp[0];
    const bool pulled = i >= 600 && i < 1020;
    side.linkUp = !pulled;
    if (pulled) side.syncs = side.resps = side.followUps = 0;
    if (i >= 601 && i < 1024) side.state = 8;
    now.followed = i >= 601 && i < 1024 ? 1 : 0;
  });
  const auto episodes = scene.EpisodesOf(Cause::Link);
  ASSERT_EQ(episodes.size(), 1U);
  const Episode& episode = episodes.front();
  EXPECT_EQ(TitleOf(episode, scene.recording), "SFP A: no signal");
  EXPECT_EQ(episode.from, Scene::begin + 600);
  EXPECT_EQ(episode.to, Scene::begin + 1025) << "with the second in which the card followed A again";
  for (const Cause cause : {Cause::SfpLock, Cause::Relock, Cause::FollowedSfp}) {
    EXPECT_NE(FindingOf(episode, cause), nullptr) << CauseKey(cause);
  }
  EXPECT_EQ(scene.Judge().episodes.size(), 2U) << "the start, and this";
  EXPECT_EQ(scene.CheckOf(Rule::Redundancy).episode, 1);
  EXPECT_EQ(scene.Judge().worst, std::vector<std::size_t>{1});
}

TEST(Episodes, JoinFortyFlapsIntoOneWithACount) {
  Scene scene;
  scene.Play(42 * Minutes(10), [](std::int64_t i, SceneSecond& now) {
    for (Side& side : now.sfp) side.master = std::min<std::int64_t>(i / Minutes(10), 40) % 2 == 0 ? 1 : 2;
  });
  const auto episodes = scene.EpisodesOf(Cause::Grandmaster);
  ASSERT_EQ(episodes.size(), 1U);
  EXPECT_EQ(episodes.front().count, 40);
  EXPECT_EQ(TitleOf(episodes.front(), scene.recording), "Grandmaster changes, 40\u00a0times");
  EXPECT_EQ(episodes.front().to - episodes.front().from, 39 * Minutes(10) + 2) << "from the last message on";

  Scene twice;  // there and back, hours apart
  twice.Play(3 * hour, [](std::int64_t i, SceneSecond& now) {
    for (Side& side : now.sfp) side.master = i >= hour && i < 2 * hour ? 2 : 1;
  });
  EXPECT_EQ(twice.EpisodesOf(Cause::Grandmaster).size(), 2U);
}

TEST(Episodes, WeighWhatTheChecksSay) {
  // Much that is harmless by itself: a message a second, 40 changes of grandmaster, four seconds again and
  // again.
  struct {
    Rule rule;
    Cause cause;
    Scene::Script script;
  } const rows[] = {{Rule::MessagesMissing, Cause::Loss,
                     [](std::int64_t i, SceneSecond& now) { now.sfp[1].resps = i % 25 == 0 ? 7 : 8; }},
                    {Rule::GrandmasterChanges, Cause::Grandmaster,
                     [](std::int64_t i, SceneSecond& now) {
                       for (Side& side : now.sfp) side.master = (i / 60) % 2 == 0 ? 1 : 2;
                     }},
                    {Rule::Redundancy, Cause::SfpLock, [](std::int64_t i, SceneSecond& now) {
                       if (i % 150 > 145) now.sfp[1].state = 9;
                     }}};
  for (const auto& row : rows) {
    Scene scene;
    scene.Play(hour, row.script);
    const Check& check = scene.CheckOf(row.rule);
    EXPECT_GE(check.severity, Severity::Warn) << CauseKey(row.cause);
    if (check.episode < 0) {
      ADD_FAILURE() << CauseKey(row.cause);
      continue;
    }
    const auto episode = static_cast<std::size_t>(check.episode);
    EXPECT_EQ(scene.Judge().episodes[episode].WhatCaused(), row.cause);
    EXPECT_EQ(scene.Judge().episodes[episode].severity, check.severity) << CauseKey(row.cause);
    EXPECT_THAT(scene.Judge().worst, ::testing::Contains(episode));
  }
}

TEST(Episodes, AreNamedByWhatLastedLongEnough) {
  // Five seconds without genlock, and from then on two hours of an offset; or a minute of it.
  for (const std::int64_t lasts : {Minutes(120), Minutes(1)}) {
    Scene scene;
    EventLog& log = scene.recording.eventLog;
    for (const auto& [at, state] : {std::pair{0, "locked"}, {1000, "unlocked"}, {1005, "locked"}})
      log.genlock.Set(Scene::begin + at, log.texts.IndexOf(state));
    scene.Play(3 * hour, [lasts](std::int64_t i, SceneSecond& now) {
      if (i >= 1002 && i < 1002 + lasts) now.sfp[0].offset = 2000;
    });
    const Judgement& judgement = scene.Judge();
    const Episode& worst = judgement.episodes[judgement.worst.at(0)];
    const bool isShort = lasts == Minutes(1);
    EXPECT_EQ(TitleOf(worst, scene.recording),
              isShort ? "Genlock unlocked" : "SFP A and SFP B measure 2\u202f000\u00a0ns apart");
    EXPECT_EQ(LengthOf(worst), isShort ? "5\u00a0s of 1\u00a0min\u00a020\u00a0s" : "2\u00a0h");
  }
}

TEST(Episodes, TellWhenTheWorstWas) {
  Scene scene;
  scene.Play(hour, [](std::int64_t i, SceneSecond& now) {
    if (i % 600 == 599) now.sfp[0].offset = i == 2399 ? -9000 : 1500;
  });
  const std::vector<Episode> episodes = scene.EpisodesOf(Cause::Offset);
  ASSERT_EQ(episodes.size(), 1U);
  const Finding& finding = episodes[0].findings[0];
  EXPECT_EQ(finding.at, Scene::begin + 2399);
  EXPECT_THAT(FindingText(finding, scene.recording), ::testing::HasSubstr("2026-03-02 00:39:59"));
  EXPECT_THAT(SummaryText(scene.Judge(), ""), ::testing::HasSubstr("2026-03-02 00:09:59"));
  EXPECT_THAT(SummaryText(scene.Judge(), ""), ::testing::HasSubstr("worst at 2026-03-02 00:39:59"));
}

TEST(Episodes, OfARangeTellWhatHappenedWithinIt) {
  Scene scene;
  EventLog& log = scene.recording.eventLog;
  log.bestSfp.Set(Scene::begin - 5000, log.texts.IndexOf("SFP B"));
  log.bestSfp.Set(Scene::begin - 4000, log.texts.IndexOf("SFP A"));
  scene.Play(hour, [](std::int64_t, SceneSecond&) {});
  EXPECT_TRUE(scene.EpisodesOf(Cause::FollowedSfp).empty());

  // No record in the range, or some: what the log tells of other times is none of its business.
  for (const std::int64_t records : {0, 600}) {
    Scene part;
    EventLog& days = part.recording.eventLog;
    for (const auto& [at, state] :
         {std::pair{-86'000, "unlocked"}, {300, "locked"}, {400, "unlocked"}, {86'000, "locked"}})
      days.genlock.Set(Scene::begin + at, days.texts.IndexOf(state));
    part.recording.options = {Scene::begin, Scene::begin + 600};
    part.recording.damage = {{1024, 10, Scene::begin - 5000}};
    part.Play(records, [](std::int64_t, SceneSecond&) {});
    if (records == 0) part.recording.first = part.recording.end = 0;
    const auto episodes = part.EpisodesOf(Cause::Genlock);
    ASSERT_FALSE(episodes.empty());
    EXPECT_EQ(episodes.front().from, Scene::begin);
    EXPECT_EQ(episodes.back().to, Scene::begin + 600);
    EXPECT_TRUE(part.EpisodesOf(Cause::Damage).empty());
  }

  Scene lossy;
  lossy.Play(hour, [](std::int64_t i, SceneSecond& now) { now.sfp[1].resps = i < 1800 ? 4 : 8; });
  EXPECT_EQ(lossy.EpisodesOf(Cause::Loss).size(), 1U) << "not hidden by the start";

  Scene within;  // a minute, of which the recording has less
  within.Play(50, [](std::int64_t, SceneSecond& now) { now.sfp[1].resps = 4; });
  EXPECT_EQ(within.EpisodesOf(Cause::Loss).at(0).to, Scene::begin + 50);
}

TEST(Episodes, AreOfTheirOwnForWhatAMasterTells) {
  struct {
    std::function<void(Master&)> change;
    Cause cause;
    Severity severity;
    const char* title;
  } const rows[] = {
      {[](Master& m) { m.utcOffset = 0; }, Cause::UtcOffset, Severity::Fail,
       "UTC offset 37\u00a0s \u2192 0\u00a0s"},
      {[](Master& m) { m.clockClass = 187; }, Cause::ClockClass, Severity::Fail,
       "clock class 187 of \u202621-00-01"},
      {[](Master& m) { m.stepsRemoved = 2; }, Cause::MasterData, Severity::Info, "steps removed 0 \u2192 2"},
      {[](Master& m) { m.domain = 200; }, Cause::Profile, Severity::Warn, "domain 200, outside the profile"}};
  for (const auto& row : rows) {
    Scene scene;
    scene.recording.masters[2] = scene.recording.masters[1];
    row.change(scene.recording.masters[2]);
    scene.Play(hour, [](std::int64_t i, SceneSecond& now) {
      for (Side& side : now.sfp) side.master = i < 1800 ? 1 : 2;
      now.sfp[1].linkUp = i != 1801;  // something else at the same time
    });
    const auto episodes = scene.EpisodesOf(row.cause);
    ASSERT_EQ(episodes.size(), 1U) << row.title;
    EXPECT_EQ(episodes.front().severity, row.severity) << row.title;
    EXPECT_EQ(episodes.front().from, Scene::begin + 1800);
    EXPECT_THAT(TitleOf(episodes.front(), scene.recording), HasSubstr(row.title));
    EXPECT_EQ(scene.EpisodesOf(Cause::Link).size(), 1U);
  }
}

TEST(Episodes, BeginWithWhatIsKnownByTheMinute) {
  Scene scene;
  scene.Play(7200, [](std::int64_t i, SceneSecond& now) {
    if (i >= 1800 && i < 3600) now.sfp[0].path = 3000;
    if (i >= 3590 && i < 3600) now.sfp[0].state = 9;
  });
  const auto& episodes = scene.Judge().episodes;
  EXPECT_TRUE(std::ranges::any_of(episodes, [](const Episode& episode) {
    return episode.from == Scene::begin + 1800 && episode.to >= Scene::begin + 3600;
  }));
}

TEST(Episodes, HaveANameWhereTheClockWentBack) {
  Finding offset{Cause::Offset, 0, Scene::begin, Scene::begin + 3600, Severity::Warn, 700, Scene::begin};
  offset.seconds = 3600;
  const auto episodes = JoinFindings({offset, offset}, DefaultLimits());
  ASSERT_EQ(episodes.size(), 1U);
  EXPECT_EQ(episodes.front().CauseOf().cause, Cause::Offset);
}

TEST(Episodes, StayFewWithAHundredThousandChanges) {
  Scene scene;
  scene.Play(200'000, [](std::int64_t i, SceneSecond& now) {
    now.sfp[0].state = i % 2 == 0 ? 10 : 9;
    now.sfp[1].master = i % 2 == 0 ? 1 : 2;
    now.sfp[1].linkUp = i % 4 != 0;
  });
  const Judgement& judgement = scene.Judge();
  EXPECT_LT(judgement.episodes.size(), 100U);
  std::int64_t losses = 0;
  for (const Episode& episode : judgement.episodes) {
    for (const Finding& finding : episode.findings) {
      if (finding.cause == Cause::SfpLock) losses += finding.count;
    }
  }
  EXPECT_EQ(losses, 100'000);
}

TEST(Changes, AreThoseThatNoDocumentTells) {
  Scene scene;
  scene.recording.masters[2] = scene.recording.masters[1];
  scene.recording.masters[2].clockClass = 7;
  scene.recording.masters[2].address = 0x0a143b02;
  scene.Play(hour, [](std::int64_t i, SceneSecond& now) {
    for (Side& side : now.sfp) side.master = i < 1800 ? 1 : 2;
    now.sfp[1].state = i >= 3000 ? 9 : 10;
  });
  for (Runs& runs : scene.recording.eventLog.sfpState) runs.Set(Scene::begin, 10);
  const std::vector<Change>& changes = scene.Judge().changes;
  ASSERT_EQ(changes.size(), 3U);
  EXPECT_EQ(changes[0].what, "address of \u202621-00-01");
  EXPECT_EQ(changes[0].to, "10.20.59.2");
  EXPECT_EQ(changes[1].what, "clock class of \u202621-00-01");
  EXPECT_EQ(changes[1].sfp, -1) << "both";
  EXPECT_EQ(changes[1].time, Scene::begin + 1800);
  EXPECT_EQ(changes[2].what, "state, document against records");
  EXPECT_EQ(changes[2].from, "follower locked");
  EXPECT_EQ(changes[2].sfp, 1);

  // Documents of an SFP and of the card name another grandmaster than the records.
  Scene misled;
  misled.Play(hour, [](std::int64_t, SceneSecond&) {});
  EventLog& log = misled.recording.eventLog;
  for (Runs* runs : {&log.sfpGrandmaster[1], &log.cardGrandmaster}) {
    runs->Set(Scene::begin, log.texts.IndexOf("0x80011fffe210001"));
    runs->Set(Scene::begin + 600, log.texts.IndexOf("0x80011fffe210002"));
    runs->Set(Scene::begin + 1200, log.texts.IndexOf("0x80011fffe210001"));
  }
  ASSERT_EQ(misled.Judge().changes.size(), 2U);
  for (const Change& change : misled.Judge().changes) {
    EXPECT_THAT(change.what, HasSubstr("grandmaster, document against records"));
    EXPECT_EQ(change.time, Scene::begin + 600);
    EXPECT_EQ(change.until, Scene::begin + 1200);
  }

  // A change of grandmaster has a document beside it, or not.
  for (const auto& [logged, gap] : {std::pair{false, 0}, {true, 0}, {true, 100}}) {
    Scene handover;
    if (logged) {
      for (const std::int8_t sfp : {std::int8_t{0}, std::int8_t{1}}) {
        handover.recording.eventLog.events.push_back({Scene::begin + 1803, EventLogType::SfpSt2059, sfp, 0});
      }
    }
    handover.Play(hour, [around = gap](std::int64_t i, SceneSecond& now) {
      for (Side& side : now.sfp) side.master = i < 1800 ? 1 : 2;
      for (Side& side : now.sfp) side.present = i < 1800 - around || i >= 1800 + around;
    });
    EXPECT_EQ(handover.Judge().changes.size(), logged ? 0U : 1U);
  }
}

TEST(Changes, OfMastersThatNeverComeBackAreFewAndAllCounted) {
  constexpr std::int64_t seconds = 60'000;
  Scene scene;
  for (std::uint64_t i = 0; i < 8000; ++i) {
    const Master known = scene.recording.masters[1];
    scene.recording.masters.push_back(known);
    scene.recording.masters.back().grandmaster = known.grandmaster + 100 + i;
  }
  std::uint32_t random = 1;
  scene.Play(seconds, [&](std::int64_t, SceneSecond& now) {
    random = random * 1'664'525 + 1'013'904'223;
    now.sfp[0].master = static_cast<std::int32_t>(3 + (random >> 8) % 8000);
  });
  const Judgement& judgement = scene.Judge();
  EXPECT_LT(judgement.changes.size(), 5000U);
  std::int64_t changes = 0;
  for (const Change& change : judgement.changes) changes += change.count;
  EXPECT_NEAR(static_cast<double>(changes), seconds, 20);  // some second has the master of the one before
  const Evidence evidence(scene.recording, *judgement.watch, scene.limits);
  const auto findings = FindAll(evidence, *judgement.selfCheck, scene.limits);
  EXPECT_LT(findings.size(), 40'000U);
  const auto counted = [](std::int64_t sum, const Finding& finding) {
    return finding.cause == Cause::Grandmaster ? sum + finding.count : sum;
  };
  EXPECT_EQ(std::accumulate(findings.begin(), findings.end(), std::int64_t{0}, counted), changes);
}

TEST(Checks, ShowTheValueInTheUnitOfTheLimitThatItExceeds) {
  const std::pair<std::int64_t, const char*> rows[] = {
      {12, "12\u00a0s"}, {37, "just over 1\u00a0%"}, {72, "2\u00a0%"}};
  for (const auto& [gap, expected] : rows) {
    Scene scene;
    scene.Play(hour, [gap = gap](std::int64_t i, SceneSecond& now) {
      for (Side& side : now.sfp) side.present = i < 600 || i >= 600 + gap;
      if (i == 300) now.sfp[0].offset = 500 + static_cast<double>(gap % 12) / 4;
    });
    EXPECT_EQ(scene.CheckOf(Rule::Telemetry).ValueText(scene.limits), expected);
    EXPECT_EQ(scene.CheckOf(Rule::Offset).ValueText(scene.limits),
              gap == 37 ? "just over 500\u00a0ns" : "500\u00a0ns");
  }
}

TEST(Changes, JudgeIntervalsOfAnySize) {
  Master master;
  master.logSyncInterval = master.logDelayReqInterval = INT32_MAX;
  EXPECT_EQ(OutsideProfile(master).size(), 1U) << "Delay_Req is as rare as Sync";
}

TEST(Judgement, CountsDaysAndMasters) {
  Scene scene;
  scene.Play(30 * hour, [](std::int64_t i, SceneSecond& now) {
    if (i >= 20 * hour && i < 21 * hour) now.sfp[0].master = 2;
    if (i == 26 * hour) now.sfp[0].offset = -700;
    if (i == 27 * hour) now.cardLocked = false;
  });
  const auto& days = scene.Judge().watch->Days();
  ASSERT_EQ(days.size(), 2U);
  EXPECT_EQ(days.begin()->second.grandmasterChanges, 2);
  EXPECT_EQ(days.begin()->second.worstOffset, 0);
  EXPECT_EQ(days.rbegin()->second.worstOffset, -700);
  EXPECT_EQ(days.rbegin()->second.worstOffsetAt, Scene::begin + 26 * hour);
  EXPECT_EQ(days.rbegin()->second.cardUnlocked, 1);
  EXPECT_EQ(days.rbegin()->second.judged, 6 * hour - 5) << "two seconds around the document and itself";
  const auto& masters = scene.Judge().masters;
  ASSERT_EQ(masters.size(), 2U);
  EXPECT_EQ(masters[1].followed[0], hour);
  EXPECT_EQ(masters[1].followed[1], 0);
  EXPECT_EQ(masters[0].times, 3);
}

TEST(Judgement, SurvivesRunsClocksSetBackAndMissingFiles) {
  Scene scene;
  scene.recording.eventLog.present = false;
  Watch watch(scene.recording, scene.limits);
  SelfCheck selfCheck(scene.recording);
  Bucket second;
  second.records = second.locked = 1;
  second.syncs = 8;
  second.offset = Stat::Of(8, 8 * 100.0, 90, 110, 0);
  for (std::int64_t i = 0; i < 400; ++i) {
    const std::int64_t back = i < 200 ? 0 : 150;  // set back by 150 s, with seconds that come twice
    for (int sfp = 0; sfp < sfpCount; ++sfp) {
      second.start = Scene::begin + i - back;
      watch.OnSecond(sfp, second, 10, 1);
      watch.OnSecond(sfp, second, 10, 1);
    }
  }
  watch.Finish();
  selfCheck.Finish();
  const Judgement judgement = JudgeRecording(scene.recording, watch, selfCheck, scene.limits);
  EXPECT_EQ(judgement.verdict, Verdict::Pass);
  EXPECT_EQ(watch.JudgedSeconds(), 400);
  EXPECT_THAT(judgement.checks[static_cast<std::size_t>(Rule::CardLock)].measure.detail,
              HasSubstr("by the SFPs"));
}

}  // namespace
}  // namespace kestrune::report
