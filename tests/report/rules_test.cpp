#include <gtest/gtest.h>

#include "report/scene.h"

namespace kestrune::report {
namespace {

constexpr std::int64_t hour = 3600;

/// A recording that differs from a faultless one by a script, and how a rule judges it.
struct Row {
  const char* what;
  Rule rule;
  Severity expected;
  double value;
  std::int64_t seconds;
  Scene::Script script;
  std::function<void(Scene&)> prepare = [](Scene&) {};
};

bool In(std::int64_t second, std::int64_t from, std::int64_t count) {
  return second >= from && second < from + count;
}

/// From second 200 on, nobody locks for `unlocked` seconds; then both follow the other grandmaster.
Scene::Script Handover(std::int64_t unlocked, double step) {
  return [=](std::int64_t i, SceneSecond& now) {
    for (Side& side : now.sfp) {
      if (i >= 200) side.master = 2;
      if (!In(i, 200, unlocked)) continue;
      side.state = 8;
      side.offset = step;
    }
    now.cardLocked = !In(i, 200, unlocked);
  };
}

Scene::Script OffsetAt(std::int64_t second, double offset) {
  return [=](std::int64_t i, SceneSecond& now) {
    if (i == second) now.sfp[0].offset = offset;
  };
}

Scene::Script UnlockedB(std::int64_t count) {
  return [=](std::int64_t i, SceneSecond& now) {
    if (In(i, 300, count)) now.sfp[1].state = 9;
  };
}

Scene::Script CardOut(std::int64_t count) {
  return [=](std::int64_t i, SceneSecond& now) { now.cardLocked = !In(i, 300, count); };
}

Scene::Script ApartBy(double nanoseconds) {
  return [=](std::int64_t i, SceneSecond& now) {
    if (In(i, 600, 120)) now.sfp[1].offset = nanoseconds;
  };
}

Scene::Script Flaps(int count) {
  return [=](std::int64_t i, SceneSecond& now) {
    const std::int64_t flaps = std::min<std::int64_t>(i / 60, count);
    for (Side& side : now.sfp) side.master = flaps % 2 == 0 ? 1 : 2;
  };
}

/// Nothing for an hour, then a start-up of half a minute.
const Scene::Script restart = [](std::int64_t i, SceneSecond& now) {
  for (Side& side : now.sfp) {
    side.present = !In(i, 600, hour);
    if (In(i, 600 + hour, 90)) side.state = i < 650 + hour ? 4 : 9;
    if (In(i, 600 + hour, 50)) side.syncs = side.resps = 0;
  }
};

Scene::Script WithoutTelemetry(std::int64_t count) {
  return [=](std::int64_t i, SceneSecond& now) {
    if (In(i, 1000, count)) now.sfp[0].present = now.sfp[1].present = false;
  };
}

const Scene::Script faultless = [](std::int64_t, SceneSecond&) {};
/// The second master takes over half way, without a loss of lock.
const Scene::Script takeover = [](std::int64_t i, SceneSecond& now) {
  for (Side& side : now.sfp) side.master = i < 300 ? 1 : 2;
};

std::function<void(Scene&)> SecondMaster(const std::function<void(Master&)>& change) {
  return [=](Scene& scene) {
    scene.recording.masters[2] = scene.recording.masters[1];
    change(scene.recording.masters[2]);
  };
}

const Row rows[] = {
    {"at the limit", Rule::Offset, Severity::Pass, 500, 600, OffsetAt(300, -500)},
    {"an average, not a message", Rule::Offset, Severity::Pass, 490, 600, OffsetAt(300, 490)},
    {"beyond half a microsecond", Rule::Offset, Severity::Warn, 501, 600, OffsetAt(300, 501)},
    {"beyond a microsecond", Rule::Offset, Severity::Fail, 1001, 600, OffsetAt(300, -1001)},
    {"the SFP that isn't followed", Rule::Offset, Severity::Pass, 0, 600,
     [](std::int64_t, SceneSecond& now) { now.sfp[1].offset = 5000; }},
    {"the other SFP is followed", Rule::Offset, Severity::Fail, 5000, 600,
     [](std::int64_t, SceneSecond& now) {
       now.sfp[1].offset = 5000;
       now.followed = 1;
     }},
    {"the second record of a second", Rule::Offset, Severity::Fail, 5000, 600,
     [](std::int64_t i, SceneSecond& now) {
       if (i == 300) now.sfp[0].again = 5000;
     }},
    {"before the log begins", Rule::Offset, Severity::Fail, 5000, 600,
     [](std::int64_t i, SceneSecond& now) {
       now.cardLogged = i >= 300;
       if (i == 200) now.sfp[0].offset = 5000;
     }},
    {"out of lock is another rule's", Rule::Offset, Severity::Pass, 0, 600,
     [](std::int64_t i, SceneSecond& now) {
       now.cardLocked = !In(i, 300, 10);
       if (In(i, 299, 12)) now.sfp[0].offset = 9000;
     }},

    {"within five seconds", Rule::Relock, Severity::Pass, 5, 600, Handover(4, 0)},
    {"from the last message on", Rule::Relock, Severity::Warn, 6, 600, Handover(5, 0)},
    {"half a minute", Rule::Relock, Severity::Fail, 31, 600, Handover(30, 0)},
    {"a pulled fibre counts from its return", Rule::Relock, Severity::Pass, 4, 900,
     [](std::int64_t i, SceneSecond& now) {
       Side& side = now.sfp[1];
       if (In(i, 200, 306)) side.state = 8;
       if (In(i, 200, 300)) side.linkUp = false;
       if (In(i, 200, 302)) side.syncs = 0;
     }},
    {"and from its first message", Rule::Relock, Severity::Warn, 6, 900,
     [](std::int64_t i, SceneSecond& now) {
       Side& side = now.sfp[0];
       side.linkUp = !In(i, 300, 10);
       if (In(i, 300, 16)) side.state = 9;
       if (In(i, 300, 10)) side.syncs = 0;
     }},
    {"never again", Rule::Relock, Severity::Fail, 900, 1200, UnlockedB(900)},
    {"behind many shorter ones", Rule::Relock, Severity::Fail, 50, 51'000,
     [](std::int64_t i, SceneSecond& now) {
       if (i < 49'000 ? i % 4 == 3 : In(i, 50'000, 50)) now.sfp[0].state = 9;
     }},
    {"not across a restart that nobody logged", Rule::Relock, Severity::Pass, 0, 2 * hour, restart,
     [](Scene& scene) { scene.logged = false; }},

    {"before the log begins", Rule::CardLock, Severity::Pass, 0, hour,
     [](std::int64_t i, SceneSecond& now) { now.cardLogged = i >= 1800; }},
    {"start-up apart", Rule::CardLock, Severity::Pass, 0, 900,
     [](std::int64_t i, SceneSecond& now) { now.cardLocked = i >= 500; }},
    {"no start-up any more", Rule::CardLock, Severity::Fail, 300, 900,
     [](std::int64_t, SceneSecond& now) { now.cardLocked = false; }},
    {"a second", Rule::CardLock, Severity::Warn, 1, 600, CardOut(1)},
    {"a minute", Rule::CardLock, Severity::Warn, 60, 600, CardOut(60)},
    {"more than a minute", Rule::CardLock, Severity::Fail, 61, 600, CardOut(61)},

    {"a minute", Rule::Redundancy, Severity::Pass, 60, 600, UnlockedB(60)},
    {"more than a minute", Rule::Redundancy, Severity::Warn, 61, 600, UnlockedB(61)},
    {"more than an hour", Rule::Redundancy, Severity::Fail, 3601, 2 * hour, UnlockedB(3601)},
    {"without records", Rule::Redundancy, Severity::Warn, 61, 600,
     [](std::int64_t i, SceneSecond& now) { now.sfp[1].present = !In(i, 300, 61) && !In(i, 500, 3); }},
    {"a restart that nobody logged", Rule::Redundancy, Severity::Pass, 0, 2 * hour, restart,
     [](Scene& scene) { scene.logged = false; }},

    {"near", Rule::Difference, Severity::Pass, 199, hour, ApartBy(199)},
    {"apart", Rule::Difference, Severity::Warn, 201, hour, ApartBy(-201)},
    {"far apart", Rule::Difference, Severity::Fail, 501, hour, ApartBy(501)},
    {"other grandmasters", Rule::Difference, Severity::Pass, 0, hour,
     [](std::int64_t i, SceneSecond& now) {
       if (i >= 600) now.sfp[1].master = 2;
       if (i >= 600) now.sfp[1].offset = 5000;
     }},

    {"small", Rule::Step, Severity::Pass, 200, 600, Handover(3, 200)},
    {"large", Rule::Step, Severity::Warn, 201, 600, Handover(3, -201)},
    {"a microsecond", Rule::Step, Severity::Fail, 1001, 600, Handover(3, 1001)},

    {"a fifth", Rule::PathDelay, Severity::Pass, 20, hour,
     [](std::int64_t i, SceneSecond& now) { now.sfp[1].path = In(i, 600, 60) ? 2400 : 2000; }},
    {"more than a fifth", Rule::PathDelay, Severity::Warn, 25, hour,
     [](std::int64_t i, SceneSecond& now) { now.sfp[1].path = In(i, 600, 60) ? 1500 : 2000; }},
    {"every 16 seconds", Rule::PathDelay, Severity::Warn, 25, hour,
     [](std::int64_t i, SceneSecond& now) {
       for (Side& side : now.sfp) side.resps = i % 16 == 0 ? 1 : 0;
       now.sfp[1].path = In(i, 960, 60) ? 1500 : 2000;
     },
     [](Scene& scene) { scene.recording.masters[1].logDelayReqInterval = 4; }},

    {"start-up and a new master apart", Rule::MessagesMissing, Severity::Pass, 0, 600,
     [](std::int64_t i, SceneSecond& now) {
       for (Side& side : now.sfp) {
         if (In(i % 300, 0, 10)) side.state = i % 300 < 3 ? 4 : 9;
         if (In(i % 300, 0, 4)) side.syncs = side.followUps = i % 300 < 3 ? 0 : 2;
         if (In(i % 300, 0, 4)) side.resps = 0;
       }
     }},
    {"few", Rule::MessagesMissing, Severity::Pass, 0.1, 1001,
     [](std::int64_t i, SceneSecond& now) { now.sfp[1].syncs = now.sfp[1].followUps = i == 500 ? 0 : 8; }},
    {"Follow_Up", Rule::MessagesMissing, Severity::Warn, 0.2, 1001,
     [](std::int64_t i, SceneSecond& now) { now.sfp[1].followUps = In(i, 500, 2) ? 0 : 8; }},
    {"Delay_Resp", Rule::MessagesMissing, Severity::Fail, 1.1, 1001,
     [](std::int64_t i, SceneSecond& now) { now.sfp[0].resps = In(i, 500, 11) ? 0 : 8; }},
    {"while the link is down", Rule::MessagesMissing, Severity::Pass, 0, 1000,
     [](std::int64_t i, SceneSecond& now) {
       now.sfp[0].linkUp = !In(i, 500, 100);
       if (In(i, 499, 102)) now.sfp[0].resps = now.sfp[0].syncs = 0;
     }},

    {"primary reference", Rule::ClockClass, Severity::Pass, 6, 600, faultless},
    {"holdover", Rule::ClockClass, Severity::Warn, 7, 600, takeover,
     SecondMaster([](Master& master) { master.clockClass = 7; })},
    {"degraded", Rule::ClockClass, Severity::Fail, 52, 600, takeover,
     SecondMaster([](Master& master) { master.clockClass = 52; })},
    {"reserved", Rule::ClockClass, Severity::Warn, 5, 600, takeover,
     SecondMaster([](Master& master) { master.clockClass = 5; })},
    {"followed by nobody", Rule::ClockClass, Severity::Pass, 6, 600,
     [](std::int64_t i, SceneSecond& now) {
       if (In(i, 300, 10)) now.sfp[1].master = 2;
       if (In(i, 300, 10)) now.sfp[1].state = 4;
     },
     SecondMaster([](Master& master) { master.clockClass = 248; })},

    {"announced", Rule::UtcOffset, Severity::Pass, 0, 600, takeover,
     [](Scene& scene) {
       scene.recording.masters[1].leap61 = 1;
       scene.recording.masters[2] = scene.recording.masters[1];
       scene.recording.masters[2].utcOffset = 38;
     }},
    {"announced up to two seconds before", Rule::UtcOffset, Severity::Pass, 0, 600,
     [](std::int64_t i, SceneSecond& now) {
       for (Side& side : now.sfp) side.master = i < 300 ? 1 : (i < 302 ? 2 : 3);
     },
     [](Scene& scene) {
       auto& masters = scene.recording.masters;
       masters.resize(4, masters[1]);
       masters[1].leap61 = 1;
       masters[3].utcOffset = 38;
       masters[2] = masters[3];
       masters[2].utcOffset = 37;
     }},
    {"not announced", Rule::UtcOffset, Severity::Fail, 1, 600, takeover,
     SecondMaster([](Master& master) { master.utcOffset = 38; })},
    {"another grandmaster's", Rule::UtcOffset, Severity::Fail, 1, 600, takeover,
     [](Scene& scene) { scene.recording.masters[2].utcOffset = 0; }},

    {"within", Rule::Profile, Severity::Pass, 0, 600, takeover,
     SecondMaster([](Master& master) { master.domain = 0; })},
    {"domain", Rule::Profile, Severity::Warn, 1, 600, takeover,
     SecondMaster([](Master& master) { master.domain = 128; })},
    {"rates", Rule::Profile, Severity::Warn, 3, 600, takeover, SecondMaster([](Master& master) {
       master.logSyncInterval = 0;
       master.logAnnounceInterval = 2;
     })},

    {"three", Rule::GrandmasterChanges, Severity::Pass, 3, 1000, Flaps(3)},
    {"four", Rule::GrandmasterChanges, Severity::Warn, 4, 1000, Flaps(4)},
    {"eleven", Rule::GrandmasterChanges, Severity::Fail, 11, 1000, Flaps(11)},

    {"ten seconds", Rule::Telemetry, Severity::Pass, 10, hour, WithoutTelemetry(10)},
    {"eleven seconds", Rule::Telemetry, Severity::Warn, 11, hour, WithoutTelemetry(11)},
    {"more than a hundredth", Rule::Telemetry, Severity::Fail, 37, hour, WithoutTelemetry(37)},
};

TEST(Rules, JudgeWhatTheyMeasure) {
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(TextOf(row.rule).name) + ": " + row.what);
    Scene scene;
    row.prepare(scene);
    scene.Play(row.seconds, row.script);
    const Check& check = scene.CheckOf(row.rule);
    EXPECT_EQ(check.severity, row.expected);
    EXPECT_NEAR(check.measure.value, row.value, 0.001);
    // Only what exceeds a limit needs a moment, and then an episode shows it.
    if (row.expected > Severity::Info) {
      EXPECT_TRUE(row.rule == Rule::MessagesMissing || check.episode >= 0);
    }
  }
}

TEST(Rules, FindASluggishSfpThatLeftOneDocument) {
  Scene scene;
  scene.Play(26 * hour, [](std::int64_t i, SceneSecond& now) {
    if (i < 60) return;
    now.sfp[1].state = 9;
    now.sfp[1].offset = 800;
  });
  EXPECT_EQ(scene.SeverityOf(Rule::Offset), Severity::Pass);
  EXPECT_EQ(scene.SeverityOf(Rule::Difference), Severity::Fail);
  EXPECT_EQ(scene.SeverityOf(Rule::Redundancy), Severity::Fail);
  EXPECT_EQ(scene.CheckOf(Rule::Redundancy).measure.value, 24 * hour - 60);
  EXPECT_NEAR(scene.Judge().watch->Difference().Unlocked().worst, -800, 0.001);
  EXPECT_EQ(scene.Judge().watch->Difference().Locked().worst, 0);
}

TEST(Verdict, IsTheWorstOfTheChecksOrNone) {
  struct {
    std::int64_t seconds;
    double offset;
    Verdict expected;
  } const cases[] = {{66, 0, Verdict::Pass},
                     {66, 600, Verdict::Warn},
                     {66, 2000, Verdict::Fail},
                     {50, 0, Verdict::None},
                     {0, 0, Verdict::None}};
  for (const auto& row : cases) {
    Scene scene;
    scene.Play(row.seconds, OffsetAt(40, row.offset));
    EXPECT_EQ(scene.Judge().verdict, row.expected) << row.seconds << ' ' << row.offset;
    EXPECT_FALSE(scene.Judge().sentence.empty());
    EXPECT_EQ(ExitStatus(row.expected), static_cast<int>(row.expected));
  }
  Scene lenient;
  lenient.limits[Rule::Offset] = {std::nullopt, 3000, "house"};
  lenient.Play(66, OffsetAt(40, 2000));
  EXPECT_EQ(lenient.Judge().verdict, Verdict::Pass);
}

}  // namespace
}  // namespace kestrune::report
