#include "report/fleet.h"

#include <gmock/gmock.h>

#include "report/fleet_page.h"
#include "report/followed.h"
#include "report/scene.h"

namespace kestrune::report {
namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

constexpr char one[] = "08-00-11-ff-fe-21-00-01";
constexpr char two[] = "08-00-11-ff-fe-21-00-02";

Machine Following(std::vector<MachineMaster> masters) {
  Machine machine;
  machine.verdict = "pass";
  machine.masters = std::move(masters);
  return machine;
}

Machine With(std::vector<MachineEpisode> episodes) {
  Machine machine;
  machine.verdict = "warn";
  machine.first = 1000;
  machine.end = 9000;
  machine.episodes = std::move(episodes);
  return machine;
}

TEST(Fleet, FindsWhoFollowedAnotherMasterOfTheSameDomain) {
  // A change of grandmaster comes some seconds later here than there; one machine stays behind; another
  // domain is its own matter.
  const auto found = FindDisagreements({Following({{100, 500, one, 127}, {500, 900, two, 127}}),
                                        Following({{100, 504, one, 127}, {504, 900, two, 127}}),
                                        Following({{100, 900, one, 1}}),
                                        Following({{300, 650, one, 127}, {700, 900, two, 127}})});
  ASSERT_EQ(found.size(), 1U);
  EXPECT_EQ(found[0].from, 500);
  EXPECT_EQ(found[0].to, 650);
  EXPECT_EQ(found[0].domain, 127);
  ASSERT_EQ(found[0].sides.size(), 2U);
  // While it lasted, one had both.
  EXPECT_THAT(found[0].sides[0].machines, ElementsAre(1, 3));
  EXPECT_THAT(found[0].sides[1].machines, ElementsAre(0, 1));
  EXPECT_TRUE(FindDisagreements({Following({{100, 500, one, 127}, {500, 900, two, 127}}),
                                 Following({{100, 510, one, 127}, {510, 900, two, 127}})})
                  .empty());
}

TEST(Fleet, FindsWhatBeganOnSeveralMachinesTogether) {
  const std::vector<Machine> machines = {With({{2000, 2005, Severity::Info, "start", "Recording begins"},
                                               {3000, 3010, Severity::Warn, "grandmaster", "GM lost"}}),
                                         With({{2001, 2005, Severity::Info, "start", "Recording begins"},
                                               {3015, 3020, Severity::Fail, "link", "no signal"},
                                               {5000, 5001, Severity::Info, "genlock", "genlock lost"},
                                               {5003, 5004, Severity::Info, "genlock", "genlock lost"}}),
                                         With({{3030, 3031, Severity::Info, "grandmaster", "GM lost"},
                                               {3046, 3047, Severity::Fail, "link", "no"}})};
  const auto moments = FindCommonMoments(machines);
  ASSERT_EQ(moments.size(), 1U) << "starts, one machine's own, and what begins 16 s later are none";
  EXPECT_EQ(moments[0].from, 3000);
  EXPECT_EQ(moments[0].to, 3030);
  EXPECT_EQ(moments[0].machines, 3U);
  EXPECT_EQ(moments[0].SeverityIn(machines), Severity::Fail);
}

TEST(Fleet, FollowsTheCardsSfpThroughLogAndGaps) {
  Scene scene;
  scene.Play(600, [](std::int64_t i, SceneSecond& now) {
    now.sfp[0].master = i < 100 ? 1 : 2;
    now.followed = i >= 200 && i < 300 ? 1 : 0;
    now.sfp[1].master = 1;
    for (Side& side : now.sfp) {
      side.present = i < 400 || i >= 500;
      if (i >= 550) side.state = 4;
    }
  });
  scene.Judge();
  std::vector<std::pair<std::int64_t, std::int64_t>> stretches;
  std::vector<std::uint64_t> masters;
  for (const FollowedStretch& stretch : FindFollowedMasters(scene.recording, 100).first) {
    stretches.emplace_back(stretch.from - Scene::begin, stretch.to - Scene::begin);
    masters.push_back(stretch.grandmaster);
  }
  const auto first = scene.recording.masters[1].grandmaster;
  const auto second = scene.recording.masters[2].grandmaster;
  EXPECT_THAT(masters, ElementsAre(first, second, first, second, second));
  EXPECT_THAT(stretches, ElementsAre(std::pair(0, 100), std::pair(100, 200), std::pair(200, 300),
                                     std::pair(300, 400), std::pair(500, 550)));
}

TEST(Fleet, ReadsWhatTheReportWrites) {
  Scene scene;
  scene.Play(3600, [](std::int64_t i, SceneSecond& now) {
    if (i == 2500) now.sfp[0].offset = -1700;
    for (Side& side : now.sfp) side.present = i < 600 || i >= 624;
  });
  const Machine machine =
      ParseMachine("a.json", scene.Json({"studio1", "<b>Studio</b>", "1.0.0", Scene::begin, {}}));
  EXPECT_EQ(machine.error, "");
  EXPECT_EQ(machine.name, "<b>Studio</b>");
  EXPECT_EQ(machine.verdict, "fail");
  EXPECT_EQ(machine.end - machine.first, 3600);
  ASSERT_FALSE(machine.notPassed.empty());
  EXPECT_EQ(machine.notPassed[0].name, "Offset from master");
  EXPECT_THAT(machine.notPassed[0].value, HasSubstr("700"));
  EXPECT_THAT(machine.notPassed.back().name, "Telemetry missing");
  EXPECT_THAT(machine.notPassed.back().value, HasSubstr("24\u00a0s; 1\u00a0gap, 0.67\u00a0% of the time"));
  ASSERT_FALSE(machine.worst.empty());
  EXPECT_EQ(machine.episodes[machine.worst[0]].from, Scene::begin + 2500);

  // What a file says never becomes markup.
  const std::string page = RenderFleetPage({machine}, "<i>", "1.0.0", Scene::begin);
  EXPECT_THAT(page, HasSubstr("&lt;b&gt;Studio&lt;/b&gt;"));
  EXPECT_THAT(page, Not(HasSubstr("<i>")));
}

TEST(Fleet, SaysWhatIsNoReport) {
  for (const auto& [text, said] :
       {std::pair("", "no JSON"), std::pair("{\"schema\": 1", "no JSON"), std::pair("[1]", "schema 1"),
        std::pair("{\"schema\": 2}", "schema 1"), std::pair("{\"schema\": 1}", "\"label\" is missing"),
        std::pair("{\"schema\": 1, \"label\": 7}", "\"label\" is missing")}) {
    const Machine machine = ParseMachine("x/a.json", text);
    EXPECT_THAT(machine.error, HasSubstr(said)) << text;
    EXPECT_EQ(FleetExitStatus({machine, Following({})}), 4);
    RenderFleetPage({machine}, "Plant", "1.0.0", 0);  // as good as any
  }
  EXPECT_THAT(ReadMachine("no/such.json").error, HasSubstr("can't be read"));
  EXPECT_EQ(FleetExitStatus({Following({}), With({})}), 1);
}

}  // namespace
}  // namespace kestrune::report
