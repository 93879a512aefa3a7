#include "report/time_zone.h"

#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <iterator>

namespace kestrune::report {
namespace {

constexpr std::int32_t quarterHour = 900;
constexpr std::int64_t mostOffset = 15 * 3600;
constexpr std::int64_t mostError = 2;  // between the texts of one moment, seconds
constexpr std::size_t mostPairs = 10'000;

/// A number of `digits` digits at the text's begin, which is taken off.
std::optional<int> TakeNumber(std::string_view& text, std::size_t digits) {
  int value = 0;
  if (text.size() < digits) return std::nullopt;
  const auto [end, error] = std::from_chars(text.data(), text.data() + digits, value);
  if (error != std::errc() || end != text.data() + digits || value < 0) return std::nullopt;
  text.remove_prefix(digits);
  return value;
}

bool TakeSeparator(std::string_view& text, char separator) {
  if (text.empty() || text.front() != separator) return false;
  text.remove_prefix(1);
  return true;
}

}  // namespace

std::optional<std::int64_t> ParseCivilTime(std::string_view text) {
  const auto year = TakeNumber(text, 4);
  if (!year || !TakeSeparator(text, '-')) return std::nullopt;
  const auto month = TakeNumber(text, 2);
  if (!month || !TakeSeparator(text, '-')) return std::nullopt;
  const auto day = TakeNumber(text, 2);
  if (!day || text.empty()) return std::nullopt;
  text.remove_prefix(1);
  const auto hour = TakeNumber(text, 2);
  if (!hour || !TakeSeparator(text, ':')) return std::nullopt;
  const auto minute = TakeNumber(text, 2);
  if (!minute || !TakeSeparator(text, ':')) return std::nullopt;
  const auto second = TakeNumber(text, 2);
  if (!second || *hour > 23 || *minute > 59 || *second > 60) return std::nullopt;
  const std::chrono::year_month_day date{std::chrono::year(*year),
                                         std::chrono::month(static_cast<unsigned>(*month)),
                                         std::chrono::day(static_cast<unsigned>(*day))};
  if (!date.ok()) return std::nullopt;
  return std::chrono::sys_days(date).time_since_epoch().count() * std::int64_t{86'400} + *hour * 3600 +
         *minute * 60 + *second;
}

std::string CivilTimeText(std::int64_t civil) {
  const auto time = std::chrono::sys_seconds(std::chrono::seconds(civil));
  const auto day = std::chrono::floor<std::chrono::days>(time);
  const std::chrono::year_month_day date(day);
  const auto rest = static_cast<int>((time - day).count());
  char text[64];
  std::snprintf(text, sizeof text, "%04d-%02u-%02u %02d:%02d:%02d", static_cast<int>(date.year()),
                static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), rest / 3600,
                rest / 60 % 60, rest % 60);
  return text;
}

void TimeZone::Add(std::int64_t epoch, std::string_view localTime) {
  const auto civil = ParseCivilTime(localTime);
  if (!civil || pairs_.size() >= mostPairs) return;
  if (epoch < -mostOffset || epoch > INT64_MAX - mostOffset) return;
  const std::int64_t difference = *civil - epoch;
  if (difference > mostOffset || difference < -mostOffset) return;
  const std::int64_t rounded =
      (difference + mostOffset + quarterHour / 2) / quarterHour * quarterHour - mostOffset;
  if (std::abs(difference - rounded) > mostError) return;
  const auto offset = static_cast<std::int32_t>(rounded);
  // A pair between two of the same offset tells nothing new.
  const auto next = pairs_.lower_bound(epoch);
  if (next != pairs_.end() && next->second == offset &&
      (next == pairs_.begin() || std::prev(next)->second == offset)) {
    if (next == pairs_.begin()) pairs_.insert(next, {epoch, offset});
    return;
  }
  auto added = pairs_.insert_or_assign(epoch, offset).first;
  const auto thin = [&](std::map<std::int64_t, std::int32_t>::iterator middle) {
    if (middle == pairs_.begin() || middle == pairs_.end()) return;
    const auto behind = std::next(middle);
    if (behind != pairs_.end() && std::prev(middle)->second == middle->second &&
        behind->second == middle->second) {
      pairs_.erase(middle);
    }
  };
  if (std::next(added) != pairs_.end()) thin(std::next(added));
  if (added != pairs_.begin()) thin(std::prev(added));
}

std::vector<TimeZone::Change> TimeZone::Changes() const {
  std::vector<Change> changes;
  std::int64_t before = 0;
  for (const auto& [epoch, offset] : pairs_) {
    if (changes.empty()) {
      changes.push_back({epoch, offset});
    } else if (offset != changes.back().offset) {
      const std::int64_t hour = before - before % 3600 + 3600;
      changes.push_back({hour <= epoch ? hour : epoch, offset});
    }
    before = epoch;
  }
  return changes;
}

std::int32_t TimeZone::OffsetAt(std::int64_t epoch) const {
  const auto changes = Changes();
  if (changes.empty()) return 0;
  std::int32_t offset = changes.front().offset;
  for (const Change& change : changes) {
    if (change.from <= epoch) offset = change.offset;
  }
  return offset;
}

std::string TimeZone::NameAt(std::int64_t epoch) const {
  if (!Known()) return "UTC";
  const std::int32_t offset = OffsetAt(epoch);
  const std::int32_t size = std::abs(offset);
  char text[32];
  std::snprintf(text, sizeof text, "%c%02d:%02d", offset < 0 ? '-' : '+', size / 3600, size / 60 % 60);
  return text;
}

}  // namespace kestrune::report
