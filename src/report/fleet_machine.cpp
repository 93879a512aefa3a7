#include "report/fleet_machine.h"

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>

#include <algorithm>
#include <optional>
#include <span>

#include "platform/input_file.h"
#include "platform/paths.h"
#include "report/options.h"

namespace kestrune::report {
namespace {

using Json = rapidjson::Value;

constexpr std::int64_t readableSchema = 1;
constexpr std::int64_t largestFile = std::int64_t{64} << 20;

/// Reads members by name. What is missing or of another kind is remembered and read as something harmless.
class Reader {
 public:
  const Json& Of(const Json& parent, const char* name, bool (Json::*isKind)() const) {
    static const Json none;
    if (parent.IsObject()) {
      const auto member = parent.FindMember(name);
      if (member != parent.MemberEnd() && (member->value.*isKind)()) return member->value;
    }
    if (missing_.empty()) missing_ = name;
    return none;
  }

  std::string Text(const Json& parent, const char* name) {
    const Json& value = Of(parent, name, &Json::IsString);
    return value.IsString() ? std::string(value.GetString(), value.GetStringLength()) : std::string();
  }
  std::int64_t Whole(const Json& parent, const char* name) {
    const Json& value = Of(parent, name, &Json::IsInt64);
    return value.IsInt64() ? value.GetInt64() : 0;
  }
  std::int64_t Instant(const Json& parent, const char* name) {
    const auto instant = ParseInstant(Text(parent, name));
    if (!instant && missing_.empty()) missing_ = name;
    return instant.value_or(0);
  }
  Severity SeverityOf(const Json& parent) {
    const std::string text = Text(parent, "severity");
    for (const Severity severity : {Severity::Pass, Severity::Warn, Severity::Fail}) {
      if (text == SeverityText(severity)) return severity;
    }
    return Severity::Info;
  }
  /// `read(element)` of each element of a list of objects.
  template <typename Read>
  void Each(const Json& parent, const char* name, Read read) {
    const Json& list = Of(parent, name, &Json::IsArray);
    if (!list.IsArray()) return;
    for (const Json& element : list.GetArray()) read(element);
  }

  /// The first member that was missing or of another kind; empty without one.
  const std::string& Missing() const { return missing_; }

 private:
  std::string missing_;
};

/// Where the rule's limits have two units, the value in the other one stands in the check's detail.
std::string ValueTextOf(Reader& reader, const Json& check, const RuleText& rule) {
  const auto value = check.FindMember("value");
  const bool measured = value != check.MemberEnd() && value->value.IsNumber();
  if (!measured) return "no data";
  const std::string text = ValueText(value->value.GetDouble(), rule.warnUnit);
  return rule.warnUnit == rule.failUnit ? text : text + "; " + reader.Text(check, "detail");
}

void ReadChecks(Reader& reader, const Json& report, Machine& machine) {
  reader.Each(report, "checks", [&](const Json& check) {
    const std::string key = reader.Text(check, "rule");
    const auto rule = std::ranges::find(RuleTexts(), key, &RuleText::key);
    if (rule == RuleTexts().end()) return;
    const MachineCheck read{std::string(rule->name), ValueTextOf(reader, check, *rule),
                            reader.SeverityOf(check)};
    if (rule->rule == Rule::Redundancy) machine.redundancy = read;
    if (read.severity >= Severity::Warn) machine.notPassed.push_back(read);
  });
  std::ranges::stable_sort(machine.notPassed, std::ranges::greater{}, &MachineCheck::severity);
}

void ReadEpisodes(Reader& reader, const Json& report, Machine& machine) {
  std::vector<std::string> ids;
  reader.Each(report, "episodes", [&](const Json& episode) {
    ids.push_back(reader.Text(episode, "id"));
    machine.episodes.push_back({reader.Instant(episode, "from"), reader.Instant(episode, "to"),
                                reader.SeverityOf(episode), reader.Text(episode, "cause"),
                                reader.Text(episode, "title")});
  });
  const Json& worst = reader.Of(report, "worst", &Json::IsArray);
  if (!worst.IsArray()) return;
  for (const Json& id : worst.GetArray()) {
    const auto at = id.IsString() ? std::ranges::find(ids, id.GetString()) : ids.end();
    if (at != ids.end()) machine.worst.push_back(static_cast<std::size_t>(at - ids.begin()));
  }
}

void ReadReport(Reader& reader, const Json& report, Machine& machine) {
  machine.name = reader.Text(report, "label");
  if (machine.name.empty()) machine.name = reader.Text(report, "name");
  machine.verdict = reader.Text(report, "verdict");
  machine.sentence = reader.Text(report, "sentence");
  const Json& recording = reader.Of(report, "recording", &Json::IsObject);
  if (recording.IsObject() && recording.HasMember("first") && recording["first"].IsString()) {
    machine.first = reader.Instant(recording, "first");
    machine.end = reader.Instant(recording, "end");
  }
  ReadChecks(reader, report, machine);
  ReadEpisodes(reader, report, machine);
  reader.Each(report, "followed", [&](const Json& stretch) {
    machine.masters.push_back({reader.Instant(stretch, "from"), reader.Instant(stretch, "to"),
                               reader.Text(stretch, "grandmaster"), reader.Whole(stretch, "domain")});
  });
}

Machine Unreadable(const std::string& file, const std::string& error) {
  Machine machine;
  machine.file = file;
  machine.name = BaseName(file);
  machine.error = error;
  return machine;
}

}  // namespace

Machine ParseMachine(const std::string& file, std::string_view json) {
  rapidjson::Document report;
  report.Parse<rapidjson::kParseIterativeFlag>(json.data(), json.size());
  if (report.HasParseError()) {
    return Unreadable(file, std::string("no JSON: ") + rapidjson::GetParseError_En(report.GetParseError()) +
                                " At byte " + std::to_string(report.GetErrorOffset()) + '.');
  }
  Reader reader;
  if (reader.Whole(report, "schema") != readableSchema)
    return Unreadable(file, "no report of schema " + std::to_string(readableSchema));
  Machine machine;
  machine.file = file;
  ReadReport(reader, report, machine);
  if (!reader.Missing().empty())
    return Unreadable(file, "no report: \"" + reader.Missing() + "\" is missing");
  return machine;
}

Machine ReadMachine(const std::string& file) {
  InputFile input;
  if (!input.Open(NativePath(file))) return Unreadable(file, "can't be read");
  const std::int64_t size = input.Size();
  if (size < 0 || size > largestFile) return Unreadable(file, "is longer than 64 MiB");
  std::string text(static_cast<std::size_t>(size), '\0');
  text.resize(input.ReadAt(0, std::as_writable_bytes(std::span(text))));
  return ParseMachine(file, text);
}

}  // namespace kestrune::report
