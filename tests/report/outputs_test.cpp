#include <gmock/gmock.h>
#include <rapidjson/document.h>
#include <rapidjson/schema.h>
#include <rapidjson/stringbuffer.h>

#include <algorithm>
#include <fstream>
#include <iterator>

#include "report/page_data.h"
#include "report/page_model.h"
#include "report/scene.h"
#include "report/summary.h"
#include "report/texts.h"

namespace kestrune::report {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

constexpr char markup[] = "<b>\"it\" & \xff";

/// A recording with something in each list, and markup wherever a text comes from a file or from the user.
void PlayAll(Scene& scene) {
  scene.recording.masters[2].utcOffset = 36;
  scene.recording.eventLog.genlock.Set(Scene::begin, scene.recording.eventLog.texts.IndexOf("locked"));
  scene.recording.eventLog.genlock.Set(Scene::begin + 1000, scene.recording.eventLog.texts.IndexOf(markup));
  scene.recording.tornBytes = 17;
  scene.Play(3600, [](std::int64_t i, SceneSecond& now) {
    for (Side& side : now.sfp) side.master = i < 1800 ? 1 : 2;
    if (i == 2500) now.sfp[0].offset = -1700;
    now.cardLocked = i < 3000 || i > 3100;
    if (i > 2000 && i < 2100) now.sfp[1].state = 9;
  });
}

Heading MakeHeading() {
  return {"studio<1>", markup, "1.2.3", Scene::begin + 4000, {"a/studio<1>_raw_data", "b", "c"}};
}

/// The code block behind a mark in the documentation.
std::string DocumentedSchema() {
  std::ifstream file(std::string(KESTRUNE_TESTS_FOLDER) + "/../docs/report.md");
  const std::string text((std::istreambuf_iterator<char>(file)), {});
  const std::string mark = "```json schema\n";
  const std::size_t begin = text.find(mark);
  if (begin == std::string::npos) return "";
  return text.substr(begin + mark.size(), text.find("```", begin + mark.size()) - begin - mark.size());
}

/// Empty, or where a document isn't as the schema says.
std::string Invalid(const std::string& json, const rapidjson::SchemaDocument& schema) {
  rapidjson::Document document;
  if (document.Parse<rapidjson::kParseValidateEncodingFlag>(json.c_str()).HasParseError()) return "no JSON";
  rapidjson::SchemaValidator validator(schema);
  if (document.Accept(validator)) return "";
  rapidjson::StringBuffer place;
  validator.GetInvalidDocumentPointer().StringifyUriFragment(place);
  return std::string(place.GetString()) + ": " + validator.GetInvalidSchemaKeyword();
}

TEST(JsonOutput, FollowsTheDocumentedSchema) {
  rapidjson::Document schemaText;
  ASSERT_FALSE(schemaText.Parse(DocumentedSchema().c_str()).HasParseError());
  const rapidjson::SchemaDocument schema(schemaText);
  Scene scene;
  PlayAll(scene);
  const std::string json = scene.Json(MakeHeading());
  EXPECT_EQ(Invalid(json, schema), "");
  Scene empty;
  EXPECT_EQ(Invalid(empty.Json(MakeHeading()), schema), "");
  // The schema is strict.
  std::string other = json;
  other.replace(other.find("\"verdict\""), 9, "\"verdikt\"");
  EXPECT_NE(Invalid(other, schema), "");

  rapidjson::Document document;
  document.Parse(json.c_str());
  EXPECT_STREQ(document["verdict"].GetString(), "fail");
  EXPECT_EQ(document["exitStatus"].GetInt(), 2);
  const auto& offset = document["checks"][0];
  EXPECT_EQ(offset["value"].GetDouble(), 1700);
  EXPECT_STREQ(offset["time"].GetString(), "2026-03-02T00:41:40Z");
  EXPECT_EQ(document["days"][0]["worstOffset"].GetDouble(), -1700);
}

TEST(PageModel, FillsATemplateAndEscapesIt) {
  Scene scene;
  PlayAll(scene);
  kainjow::mustache::mustache page(
      "{{name}}|{{label}}|{{verdict}} {{verdictClass}}|{{#episodes}}{{id}} {{class}} {{title}}"
      "{{#details}}; {{text}}{{/details}}\n{{/episodes}}|{{#checks}}{{name}} {{word}} "
      "{{#link}}{{link}}{{/link}},{{/checks}}|"
      "{{#relocks}}{{sfp}}{{locked}} {{/relocks}}|{{#changes}}{{what}} {{/changes}}|{{#masters}}{{identity}}"
      "{{#followed}} {{.}}{{/followed}} {{/masters}}|{{#days}}{{date}} "
      "{{mark}}{{/days}}|{{#tables}}{{caption}} "
      "{{#rows}}{{#cells}}{{#head}}*{{/head}}{{text}} {{/cells}}{{/rows}}{{/tables}}|{{#files}}{{name}} "
      "{{#notes}}{{text}}"
      "{{/notes}}{{/files}}|{{#agreement}}{{periodLines}}{{/agreement}}|{{#worst}}{{rank}} {{link}} "
      "{{/worst}}"
      "{{#missing}}{{sfp}} {{kind}} {{share}} {{/missing}}{{#rules}}{{rule}} {{fail}};{{/rules}}");
  const std::string text = page.render(MakePageModel(scene.Judge(), MakeHeading()));
  EXPECT_TRUE(page.error_message().empty());
  EXPECT_THAT(text,
              StartsWith("studio&lt;1&gt;|&lt;b&gt;&quot;it&quot; &amp; \ufffd|FAIL fail|e1 info Start"));
  EXPECT_THAT(text, Not(HasSubstr("<b>")));
  for (const char* part :
       {"Genlock &lt;b&gt;", "Grandmaster changes to \u202621-00-02", "Offset from master failed #e",
        "Telemetry missing passed ,", "UTC offset 37\u00a0s",
        "08-00-11-ff-fe-21-00-02 30\u00a0min 30\u00a0min", "2026-03-02 \u2715", "*Card 0\u00a0s 1",
        "studio&lt;1&gt;_raw_data 17\u00a0bytes behind", "1 #e", "A Sync 0\u00a0%", "1\u202f000\u00a0ns;"}) {
    EXPECT_THAT(text, HasSubstr(part));
  }
}

TEST(PageData, IsJsonAndSmallWhateverTheTextsOfTheLog) {
  Scene scene;
  PlayAll(scene);
  EventLog& log = scene.recording.eventLog;
  constexpr std::int64_t count = 5000;
  for (std::int64_t i = 0; i < count; ++i) {
    const std::int32_t text = log.texts.IndexOf(std::to_string(i) + std::string(190, 'x'));
    log.genlock.Set(Scene::begin + 1001 + i / 2, text);
    log.events.push_back({Scene::begin + i / 2, EventLogType::GenlockStatus, -1, text});
  }
  PageFacts facts;
  facts.name = markup;
  const PageData data = MakePageData(scene.recording, Stability(), facts, {});
  EXPECT_LT(data.json.size(), 450'000U);
  rapidjson::Document page;
  ASSERT_FALSE(page.Parse<rapidjson::kParseValidateEncodingFlag>(data.json.c_str()).HasParseError());
  const std::int64_t shown = page["events"].Size() / 2;
  EXPECT_GT(shown, 1000);
  EXPECT_EQ(shown + page["eventsLeftOut"].GetInt64(), count);
  const auto& names = page["names"];
  EXPECT_STREQ(names[0].GetString(), "link up");
  EXPECT_THAT(names[names.Size() - 1].GetString(), HasSubstr("more texts, which the event log has"));
}

TEST(PageModel, TellsWhatItsListsLeaveOut) {
  Scene scene;
  scene.Play(3600, [](std::int64_t i, SceneSecond& now) {
    if (i > 10 && i % 6 < 2) now.sfp[0].state = 9;
  });
  rapidjson::Document json;
  json.Parse(scene.Json(MakeHeading()).c_str());
  const std::string count = GroupedText(json["relocks"].Size());
  ASSERT_GT(json["relocks"].Size(), 550u);
  kainjow::mustache::mustache page(
      "{{#relocks}}<{{class}}>{{lastMessage}}{{/relocks}}|{{#relockNotes}}{{class}}: "
      "{{text}}\n{{/relockNotes}}"
      "{{#masterNotes}}{{text}}{{/masterNotes}}");
  const std::string text = page.render(MakePageModel(scene.Judge(), MakeHeading()));
  EXPECT_EQ(std::ranges::count(text, '<'), 500);
  EXPECT_EQ(text.substr(0, 9), "<pass>\u2013") << "the master goes on sending";
  EXPECT_EQ(std::string_view(text).substr(text.find('|')),
            "|: The first 500 of " + count + "; all of them stand in the JSON (--json), as relocks.\n" +
                "paper: On paper the first 40 of " + count + ".\n");
  // The fortieth row is on paper, the next one isn't.
  EXPECT_EQ(std::ranges::count(text.substr(0, text.find(" late")), '<'), 41);
}

TEST(Summary, SaysItInTenLinesOfAscii) {
  Scene scene;
  PlayAll(scene);
  const std::string summary = SummaryText(scene.Judge(), markup);
  EXPECT_LE(std::ranges::count(summary, '\n'), 10);
  EXPECT_TRUE(std::ranges::all_of(summary, [](char c) { return c == '\n' || (c >= ' ' && c <= '~'); }))
      << summary;
  EXPECT_THAT(summary, StartsWith("FAIL  <b>"));
  EXPECT_THAT(summary, HasSubstr("fail  Offset from master: 1 700 ns, limit 1 000 ns (SMPTE ST 2059-2"));
  EXPECT_THAT(summary, HasSubstr("worst 2026-03-02 00:"));
  Scene empty;
  EXPECT_THAT(SummaryText(empty.Judge(), "studio1"), StartsWith("NO VERDICT  studio1: no telemetry\n"));
}

TEST(Limits, ComeFromAFileThatChangesSomeOfThem) {
  const LimitsResult changed = ReadLimits(
      R"({"offset": {"warn": 250, "unit": "ns"}, "cardLock": {"fail": null, "source": "contract"}, "telemetry": {"fail": 2}, "relock": {"warn": 2.5}})");
  EXPECT_EQ(changed.error, "");
  EXPECT_EQ(changed.limits[Rule::Offset].warn, 250);
  EXPECT_EQ(changed.limits[Rule::Offset].fail, 1000);
  EXPECT_EQ(changed.limits[Rule::Offset].source, "limits file");
  EXPECT_FALSE(changed.limits[Rule::CardLock].fail);
  EXPECT_EQ(changed.limits[Rule::CardLock].source, "contract");
  EXPECT_EQ(LimitText(changed.limits[Rule::CardLock], Rule::CardLock), "warn: any, fail: none");
  EXPECT_EQ(FailText(changed.limits[Rule::Telemetry], Rule::Telemetry), "2\u00a0%");
  EXPECT_EQ(WarnText(changed.limits[Rule::Relock], Rule::Relock), "2.5\u00a0s");

  const std::string defaults = WriteLimits(DefaultLimits());
  const LimitsResult same = ReadLimits(defaults);
  EXPECT_EQ(same.error, "");
  EXPECT_EQ(WriteLimits(same.limits), defaults);

  struct {
    const char* text;
    const char* error;
  } const rows[] = {
      {"{\"offset\": {\"warn\": 1,}}", "line 1, column "},
      {"{\n \"ofset\": {}}", "There is no rule \"ofset\"; there are offset, relock, "},
      {"{\"offset\": {}, \"offset\": {}}", "stands there twice"},
      {"{\"offset\": {\"warn\": 1, \"warn\": 2}}", "stands there twice"},
      {"{\"offset\": 300}", "\"offset\": is no object"},
      {"{\"offset\": {\"warn\": \"300\"}}", "\"offset\": \"warn\" is neither a number from 0 on nor null"},
      {"{\"offset\": {\"warn\": -1}}", "neither a number from 0 on"},
      {"{\"offset\": {\"warn\": 3, \"unit\": \"us\"}}", "\"unit\" must be \"ns\""},
      {"{\"offset\": {\"warn\": 2000}}", "fails before it warns"},
      {"{\"offset\": {\"alarm\": 1}}", "\"alarm\" is unknown"},
      {"[]", "are no object"},
      {"", "line 1, column 1"},
  };
  for (const auto& row : rows) EXPECT_THAT(ReadLimits(row.text).error, HasSubstr(row.error)) << row.text;
}

TEST(Texts, SuitTheSizeOfTheValue) {
  struct {
    std::string text;
    const char* expected;
  } const rows[] = {
      {NanosecondsText(-2231), "-2 231 ns"},
      {NanosecondsText(99'999), "99 999 ns"},
      {NanosecondsText(318'386'955), "318.4 ms"},
      {NanosecondsText(-37e9), "-37 s"},
      {NanosecondsText(999.96e6), "0.99996 s"},
      {TenthsText(-0.04), "0.0 ns"},
      {TenthsText(871.13), "871.1 ns"},
      {DurationText(59), "59 s"},
      {DurationText(3600), "1 h"},
      {DurationText(26 * 3600 + 180), "26 h 3 min"},
      {DurationText(49 * 3600), "2 d 1 h"},
      {PercentText(0), "0 %"},
      {PercentText(1e-7), "1e-05 %"},
      {PercentText(0.99999), "99.999 %"},
      {PercentText(1), "100 %"},
      {PercentText(1.22), "122 %"},
      {TimeText(1'772'434'822), "2026-03-02 07:00:22"},
      {DayText(1'772'434'822), "Mon 2 Mar 2026"},
      {TimeText(INT64_MAX), "9223372036854775807"},
      {IsoText(-1), "1969-12-31T23:59:59Z"},
      {IdentityText(0x080011fffe210001), "08-00-11-ff-fe-21-00-01"},
      {ShortIdentityText(1), "...00-00-01"},
      {CountText(1, "time", "times"), "1 time"},
      {CleanText("a\xc3\xa4\xc3(\xed\xa0\x80\x01"),
       "a?"
       "?"
       "(????"},
  };
  for (const auto& row : rows) EXPECT_EQ(AsciiText(row.text), row.expected);
}

}  // namespace
}  // namespace kestrune::report
