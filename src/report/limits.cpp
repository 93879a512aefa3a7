#include "report/limits.h"

#include <rapidjson/document.h>
#include <rapidjson/error/en.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <set>

namespace kestrune::report {
namespace {

constexpr char warnKey[] = "warn";
constexpr char failKey[] = "fail";
constexpr char unitKey[] = "unit";
constexpr char failUnitKey[] = "failUnit";
constexpr char sourceKey[] = "source";

std::string Quoted(std::string_view text) { return '"' + std::string(text) + '"'; }

std::string_view Text(const rapidjson::Value& value) { return {value.GetString(), value.GetStringLength()}; }

std::string LineAndColumn(std::string_view text, std::size_t place) {
  const std::string_view before = text.substr(0, place);
  const std::size_t lineBegin = before.rfind('\n') + 1;  // 0 without one
  return "line " + std::to_string(1 + std::ranges::count(before, '\n')) + ", column " +
         std::to_string(place - lineBegin + 1);
}

const RuleText* FindRule(std::string_view key) {
  const auto& texts = RuleTexts();
  const auto* found = std::ranges::find(texts, key, &RuleText::key);
  return found == texts.end() ? nullptr : found;
}

std::string KnownRules() {
  std::string text;
  for (const RuleText& rule : RuleTexts()) text.append(text.empty() ? "" : ", ").append(rule.key);
  return text;
}

/// Empty, or what is wrong with it.
std::string ReadBound(const rapidjson::Value& value, std::optional<double>& bound) {
  if (value.IsNull()) {
    bound.reset();
    return "";
  }
  if (!value.IsNumber() || value.GetDouble() < 0) return "is neither a number from 0 on nor null";
  bound = value.GetDouble();
  return "";
}

std::string ReadUnit(const rapidjson::Value& value, Unit unit) {
  if (value.IsString() && Text(value) == UnitText(unit)) return "";
  return "must be " + Quoted(UnitText(unit)) + ", in which this rule is measured";
}

std::string ReadMember(std::string_view name, const rapidjson::Value& value, const RuleText& rule,
                       Limit& limit) {
  if (name == warnKey) return ReadBound(value, limit.warn);
  if (name == failKey) return ReadBound(value, limit.fail);
  if (name == unitKey) return ReadUnit(value, rule.warnUnit);
  if (name == failUnitKey) return ReadUnit(value, rule.failUnit);
  if (name != sourceKey) return "is unknown; a rule has warn, fail, unit, failUnit and source";
  if (!value.IsString()) return "is no text";
  limit.source = Text(value);
  return "";
}

std::string ReadRule(const rapidjson::Value& value, const RuleText& rule, Limit& limit) {
  if (!value.IsObject()) return "is no object such as {\"warn\": 1, \"fail\": 2}";
  const bool namesSource = value.HasMember(sourceKey);
  const Limit before = limit;
  std::set<std::string_view> read;
  for (const auto& member : value.GetObject()) {
    if (!read.insert(Text(member.name)).second) return Quoted(Text(member.name)) + " stands there twice";
    const std::string wrong = ReadMember(Text(member.name), member.value, rule, limit);
    if (!wrong.empty()) return Quoted(Text(member.name)) + ' ' + wrong;
  }
  if (rule.warnUnit == rule.failUnit && limit.warn && limit.fail && *limit.fail < *limit.warn) {
    return "fails before it warns: \"fail\" is less than \"warn\"";
  }
  if (!namesSource && (limit.warn != before.warn || limit.fail != before.fail)) limit.source = "limits file";
  return "";
}

std::string ReadRules(const rapidjson::Value& value, Limits& limits) {
  if (!value.IsObject()) return "The limits are no object such as {\"offset\": {\"warn\": 300}}.";
  std::set<std::string_view> read;
  for (const auto& member : value.GetObject()) {
    const std::string_view key = Text(member.name);
    const RuleText* rule = FindRule(key);
    if (rule == nullptr) return "There is no rule " + Quoted(key) + "; there are " + KnownRules() + '.';
    if (!read.insert(key).second) return "The rule " + Quoted(key) + " stands there twice.";
    const std::string wrong = ReadRule(member.value, *rule, limits[rule->rule]);
    if (!wrong.empty()) return Quoted(key) + ": " + wrong + '.';
  }
  return "";
}

using Writer = rapidjson::PrettyWriter<rapidjson::StringBuffer>;

void WriteText(Writer& writer, std::string_view name, std::string_view text) {
  writer.Key(name.data(), static_cast<rapidjson::SizeType>(name.size()));
  writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

void WriteBound(Writer& writer, const char* name, std::optional<double> bound) {
  writer.Key(name);
  if (!bound) {
    writer.Null();
  } else if (*bound == std::floor(*bound) && *bound < 1e15) {
    writer.Int64(static_cast<std::int64_t>(*bound));
  } else {
    writer.Double(*bound);
  }
}

bool Exceeds(double value, std::optional<double> bound, Unit unit) {
  if (!bound) return false;
  return unit == Unit::ClockClass ? value >= *bound : value > *bound;
}

std::string GeneralText(double value) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.10g", value);
  return text.data();
}

std::string BoundText(std::optional<double> bound, Unit unit) {
  constexpr double primaryReference = 6;
  if (!bound) return "none";
  if (unit == Unit::ClockClass) {
    return *bound == primaryReference + 1 ? "not 6" : ValueText(*bound, unit) + " and above";
  }
  if (*bound == 0) return "any";
  if (unit != Unit::Percent && std::floor(*bound) == *bound) return ValueText(*bound, unit);
  const std::string_view name = UnitText(unit);
  return GeneralText(*bound).append(name.empty() ? "" : "\u00a0").append(name);
}

}  // namespace

Limits DefaultLimits() {
  const std::string house = "house";
  Limits limits;
  limits[Rule::Offset] = {500, 1000,
                          "SMPTE ST 2059-2: 1 \u00b5s between any two followers; half of it to warn"};
  limits[Rule::Relock] = {5, 30, "SMPTE ST 2059-2: 5 s; house"};
  limits[Rule::CardLock] = {0, 60, house};
  limits[Rule::Redundancy] = {60, 3600, house};
  limits[Rule::Difference] = {200, 500, house};
  limits[Rule::Step] = {200, 1000, house};
  limits[Rule::PathDelay] = {20, std::nullopt, "common practice of test equipment"};
  limits[Rule::MessagesMissing] = {0.1, 1, house};
  limits[Rule::ClockClass] = {7, 52, "IEEE 1588"};
  limits[Rule::UtcOffset] = {0, 0, "IEEE 1588"};
  limits[Rule::Profile] = {0, std::nullopt, "SMPTE ST 2059-2"};
  limits[Rule::GrandmasterChanges] = {3, 10, house};
  limits[Rule::Telemetry] = {10, 1, house};
  return limits;
}

LimitsResult ReadLimits(std::string_view json) {
  LimitsResult result{DefaultLimits(), ""};
  rapidjson::Document document;
  document.Parse<rapidjson::kParseIterativeFlag>(json.data(), json.size());
  if (document.HasParseError()) {
    result.error = LineAndColumn(json, document.GetErrorOffset()) + ": " +
                   rapidjson::GetParseError_En(document.GetParseError());
  } else {
    result.error = ReadRules(document, result.limits);
  }
  return result;
}

std::string WriteLimits(const Limits& limits) {
  rapidjson::StringBuffer buffer;
  Writer writer(buffer);
  writer.SetIndent(' ', 2);
  writer.StartObject();
  for (const RuleText& rule : RuleTexts()) {
    const Limit& limit = limits[rule.rule];
    writer.Key(rule.key.data(), static_cast<rapidjson::SizeType>(rule.key.size()));
    writer.StartObject();
    WriteBound(writer, warnKey, limit.warn);
    WriteBound(writer, failKey, limit.fail);
    WriteText(writer, unitKey, UnitText(rule.warnUnit));
    if (rule.failUnit != rule.warnUnit) WriteText(writer, failUnitKey, UnitText(rule.failUnit));
    WriteText(writer, sourceKey, limit.source);
    writer.EndObject();
  }
  writer.EndObject();
  return std::string(buffer.GetString(), buffer.GetSize()) + '\n';
}

Severity Judge(const Limit& limit, Rule rule, double value, double valueInFailUnit) {
  const RuleText& text = TextOf(rule);
  if (Exceeds(valueInFailUnit, limit.fail, text.failUnit)) return Severity::Fail;
  return Exceeds(value, limit.warn, text.warnUnit) ? Severity::Warn : Severity::Pass;
}

Severity Judge(const Limit& limit, Rule rule, double value) { return Judge(limit, rule, value, value); }

std::string WarnText(const Limit& limit, Rule rule) { return BoundText(limit.warn, TextOf(rule).warnUnit); }

std::string FailText(const Limit& limit, Rule rule) { return BoundText(limit.fail, TextOf(rule).failUnit); }

std::string LimitText(const Limit& limit, Rule rule) {
  return "warn: " + WarnText(limit, rule) + ", fail: " + FailText(limit, rule);
}

}  // namespace kestrune::report
