#include "report/period_lines.h"

#include <array>
#include <bit>
#include <charconv>
#include <limits>
#include <optional>
#include <string_view>

#include "files/period_test_results.h"
#include "report/lines.h"

namespace kestrune::report {
namespace {

constexpr std::size_t resultValues = sizeof(PeriodResults) / sizeof(std::int32_t);
constexpr std::size_t mostLines = 100'000;
constexpr std::int64_t earliestTime = 946'684'800;  // 2000-01-01
constexpr std::int64_t latestTime = 4'102'444'800;  // 2100-01-01
constexpr std::string_view startText = ": start of test run.";

/// The text up to the next comma, which is taken off with it.
std::string_view TakeField(std::string_view& text) {
  const std::size_t comma = text.find(',');
  const std::string_view field = text.substr(0, comma);
  text.remove_prefix(comma == std::string_view::npos ? text.size() : comma + 1);
  return field;
}

template <typename Number>
bool TakeNumber(std::string_view& text, Number& value) {
  const std::string_view field = TakeField(text);
  const char* end = field.data() + field.size();
  const auto result = std::from_chars(field.data(), end, value);
  return !field.empty() && result.ec == std::errc() && result.ptr == end;
}

bool ParseResultLine(std::string_view text, PeriodLine& line, std::string_view& localTime) {
  std::uint32_t minutes = 0;
  std::uint32_t sfp = 0;
  if (!TakeNumber(text, line.time)) return false;
  localTime = TakeField(text);
  if (!TakeNumber(text, minutes) || !TakeNumber(text, sfp)) return false;
  if (line.time < earliestTime || line.time >= latestTime || minutes > 100'000 || sfp > 1) return false;
  line.minutes = static_cast<std::int32_t>(minutes);
  line.sfp = static_cast<std::int32_t>(sfp);
  // The values stand in the order of the results' members.
  std::array<std::int32_t, resultValues> values{};
  for (std::int32_t& value : values) {
    if (text.empty() || !TakeNumber(text, value)) return false;
  }
  line.results = std::bit_cast<PeriodResults>(values);
  return text.empty();
}

/// Knows the lines of a run's heading.
class PeriodLineReader {
 public:
  PeriodLineReader(PeriodLines& lines, TimeZone& zone)
      : lines_(lines), zone_(zone), heading_(PeriodTestResultsHeader()) {}

  void Take(const Line& line) {
    if (!line.ended) {
      lines_.unended = true;  // part of a line may look like a whole one
    } else if (line.cleaned) {
      ++lines_.damaged;
    } else if (!line.text.empty() && !TakeStart(line.text) && !TakeResult(line.text) &&
               heading_.find(line.text) == std::string::npos) {
      ++lines_.damaged;
    }
  }

 private:
  bool TakeStart(std::string_view text) {
    if (!text.ends_with(startText)) return false;
    const auto time = ParseCivilTime(text);
    if (!time) return false;
    lines_.starts.push_back(*time);
    return true;
  }

  bool TakeResult(std::string_view text) {
    PeriodLine line;
    std::string_view localTime;
    if (!ParseResultLine(text, line, localTime)) return false;
    line.run = static_cast<std::int32_t>(lines_.starts.size());
    zone_.Add(line.time, localTime);
    if (lines_.lines.size() < mostLines) lines_.lines.push_back(line);
    return true;
  }

  PeriodLines& lines_;
  TimeZone& zone_;
  std::string heading_;
};

}  // namespace

PeriodLines ReadPeriodLines(const std::string& fileName, TimeZone& zone) {
  PeriodLines lines;
  PeriodLineReader reader(lines, zone);
  lines.present = ReadLines(fileName, lines.bytes, [&](const Line& line) { reader.Take(line); });
  return lines;
}

PeriodLines ParsePeriodLines(std::string_view text, TimeZone& zone) {
  PeriodLines lines;
  PeriodLineReader reader(lines, zone);
  lines.present = true;
  lines.bytes = text.size();
  SplitLines(text, [&](const Line& line) { reader.Take(line); });
  return lines;
}

}  // namespace kestrune::report
