#include "report/texts.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <optional>
#include <span>
#include <utility>

#include "files/code_texts.h"

namespace kestrune::report {
namespace {

constexpr std::string_view minus = "\u2212";
constexpr std::string_view blank = "\u00a0";
constexpr std::string_view thousandsBlank = "\u202f";
constexpr std::string_view ellipsis = "\u2026";
constexpr std::int64_t secondsPerDay = 86400;

template <typename... Values>
std::string Format(const char* format, Values... values) {
  std::array<char, 64> text{};
  const int length = std::snprintf(text.data(), text.size(), format, values...);
  return std::string(text.data(), static_cast<std::size_t>(std::min(length, 63)));
}

std::string WithUnit(std::string number, std::string_view unit) {
  return std::move(number.append(blank).append(unit));
}

std::string Pair(std::int64_t large, const char* largeUnit, std::int64_t small, const char* smallUnit) {
  std::string text = WithUnit(std::to_string(large), largeUnit);
  if (small != 0) text.append(blank).append(WithUnit(std::to_string(small), smallUnit));
  return text;
}

std::optional<std::chrono::year_month_day> Date(std::int64_t epoch) {
  using namespace std::chrono;
  constexpr std::int64_t least = sys_days{year{0} / 1 / 1}.time_since_epoch().count() * secondsPerDay;
  constexpr std::int64_t end = sys_days{year{10000} / 1 / 1}.time_since_epoch().count() * secondsPerDay;
  if (epoch < least || epoch >= end) return std::nullopt;
  return year_month_day{floor<days>(sys_seconds{seconds{epoch}})};
}

/// Bytes of the UTF-8 character at the text's begin; 0 if that is none.
std::size_t CharacterLength(std::string_view text) {
  const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
  if (byte(0) < 0x80) return 1;
  const std::size_t length = byte(0) >= 0xf0 ? 4 : (byte(0) >= 0xe0 ? 3 : 2);
  if (byte(0) < 0xc2 || byte(0) > 0xf4 || text.size() < length) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xc0) != 0x80) return 0;
  }
  // Overlong forms, surrogates and what lies behind the last character.
  const bool outside = (byte(0) == 0xe0 && byte(1) < 0xa0) || (byte(0) == 0xed && byte(1) >= 0xa0) ||
                       (byte(0) == 0xf0 && byte(1) < 0x90) || (byte(0) == 0xf4 && byte(1) >= 0x90);
  return outside ? 0 : length;
}

std::int64_t SecondOfDay(std::int64_t epoch) {
  return (epoch % secondsPerDay + secondsPerDay) % secondsPerDay;
}

}  // namespace

std::string GroupedText(std::int64_t value) {
  const std::string digits = std::to_string(value);
  std::string text;
  const std::size_t sign = value < 0 ? 1 : 0;
  for (std::size_t i = sign; i < digits.size(); ++i) {
    if (i > sign && (digits.size() - i) % 3 == 0) text += thousandsBlank;
    text += digits[i];
  }
  return sign != 0 ? std::string(minus) + text : text;
}

std::string NanosecondsText(double nanoseconds) {
  const double size = std::fabs(nanoseconds);
  if (!std::isfinite(size)) return "no value";
  if (size < 99'999.5) return WithUnit(GroupedText(std::llround(nanoseconds)), "ns");
  const std::string sign(nanoseconds < 0 ? minus : "");
  if (size < 999'950) return sign + WithUnit(Format("%.1f", size / 1e3), "\u00b5s");
  if (size < 999.95e6) return sign + WithUnit(Format("%.4g", size / 1e6), "ms");
  if (size < 86400e9) return sign + WithUnit(Format("%.6g", size / 1e9), "s");
  return sign + WithUnit(Format("%.4g", size / 86400e9), "days");
}

std::string TenthsText(double nanoseconds) {
  if (!(std::fabs(nanoseconds) < 999.95)) return NanosecondsText(nanoseconds);
  const double tenths = std::round(nanoseconds * 10) / 10;
  return std::string(tenths < 0 ? minus : "") + WithUnit(Format("%.1f", std::fabs(tenths)), "ns");
}

std::string DurationText(std::int64_t seconds) {
  constexpr std::int64_t minute = 60;
  constexpr std::int64_t hour = 3600;
  constexpr std::int64_t day = 86400;
  if (seconds < 0) return std::string(minus) + DurationText(seconds == INT64_MIN ? INT64_MAX : -seconds);
  if (seconds < minute) return WithUnit(std::to_string(seconds), "s");
  if (seconds < hour) return Pair(seconds / minute, "min", seconds % minute, "s");
  if (seconds < 2 * day) return Pair(seconds / hour, "h", seconds % hour / minute, "min");
  return Pair(seconds / day, "d", seconds % day / hour, "h");
}

std::string PercentText(double share) {
  const double percent = share * 100;
  if (!(percent > 0)) return WithUnit("0", "%");
  if (percent >= 100) return WithUnit(Format("%.0f", percent), "%");
  if (percent < 99.5) return WithUnit(Format(percent >= 10 ? "%.1f" : "%.2g", percent), "%");
  for (int digits = 1; digits < 8; ++digits) {
    const std::string text = Format("%.*f", digits, percent);
    if (text[0] != '1') return WithUnit(text, "%");
  }
  return WithUnit(">99.9999999", "%");
}

std::string TimeText(std::int64_t epoch) {
  return Date(epoch) ? DateText(epoch) + ' ' + ClockText(epoch) : DateText(epoch);
}

std::string ClockText(std::int64_t epoch) {
  const auto second = static_cast<int>(SecondOfDay(epoch));
  return Format("%02d:%02d:%02d", second / 3600, second / 60 % 60, second % 60);
}

std::string DateText(std::int64_t epoch) {
  const auto date = Date(epoch);
  if (!date) return std::to_string(epoch);
  return Format("%04d-%02u-%02u", static_cast<int>(date->year()), static_cast<unsigned>(date->month()),
                static_cast<unsigned>(date->day()));
}

std::string DayText(std::int64_t epoch) {
  static constexpr const char* weekdays[] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
  static constexpr const char* months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                           "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
  const auto date = Date(epoch);
  if (!date) return std::to_string(epoch);
  const std::chrono::weekday weekday{std::chrono::sys_days{*date}};
  return Format("%s %u %s %d", weekdays[weekday.c_encoding()], static_cast<unsigned>(date->day()),
                months[static_cast<unsigned>(date->month()) - 1], static_cast<int>(date->year()));
}

std::string IsoText(std::int64_t epoch) {
  return Date(epoch) ? DateText(epoch) + 'T' + ClockText(epoch) + 'Z' : DateText(epoch);
}

std::string IdentityText(std::uint64_t clockIdentity) {
  if (clockIdentity == 0) return "none";
  std::string text;
  for (int shift = 56; shift >= 0; shift -= 8) {
    text += Format(shift > 0 ? "%02x-" : "%02x", static_cast<unsigned>(clockIdentity >> shift & 0xff));
  }
  return text;
}

std::string ShortIdentityText(std::uint64_t clockIdentity) {
  constexpr std::size_t shown = 8;
  const std::string text = IdentityText(clockIdentity);
  return clockIdentity == 0 ? text : std::string(ellipsis).append(text, text.size() - shown);
}

std::string AddressText(std::uint32_t address) {
  return Format("%u.%u.%u.%u", address >> 24, address >> 16 & 0xff, address >> 8 & 0xff, address & 0xff);
}

std::string TimeSourceText(std::uint32_t timeSource) {
  static constexpr std::pair<std::uint32_t, const char*> names[] = {
      {0x10, "atomic clock"},     {0x20, "GNSS"},  {0x30, "terrestrial radio"},
      {0x39, "serial time code"}, {0x40, "PTP"},   {0x50, "NTP"},
      {0x60, "set by hand"},      {0x90, "other"}, {0xa0, "internal oscillator"}};
  for (const auto& [code, name] : names) {
    if (code == timeSource) return name;
  }
  return Format("0x%02x", timeSource);
}

std::string PortStateText(std::int32_t state) {
  if (state == 0) return "no telemetry";
  for (const CodeText& row : st2059States) {
    if (row.code == state) return std::string(row.text);
  }
  return "invalid";
}

std::string SfpText(int sfp) {
  if (sfp == 0) return "SFP A";
  return sfp == 1 ? "SFP B" : "both SFPs";
}

std::string CountText(std::int64_t count, std::string_view one, std::string_view many) {
  return GroupedText(count).append(blank).append(count == 1 ? one : many);
}

std::string CleanText(std::string_view text) {
  std::string clean;
  while (!text.empty()) {
    const std::size_t length = CharacterLength(text);
    if (length == 0 || static_cast<unsigned char>(text[0]) < ' ') {
      clean += "\ufffd";
    } else {
      clean += text.substr(0, length);
    }
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return clean;
}

std::string AsciiText(std::string_view text) {
  static constexpr std::pair<std::string_view, std::string_view> signs[] = {
      {minus, "-"},     {blank, " "},     {thousandsBlank, " "}, {ellipsis, "..."},
      {"\u00b5", "u"},  {"\u2192", "->"}, {"\u2013", "-"},       {"\u00d7", "x"},
      {"\u00b1", "+-"}, {"\u2019", "'"},  {"\u00b7", "|"}};
  std::string plain;
  while (!text.empty()) {
    std::size_t length = 1;
    std::string_view sign = text.substr(0, 1);
    if (static_cast<unsigned char>(text[0]) >= 0x80) {
      while (length < text.size() && (static_cast<unsigned char>(text[length]) & 0xc0) == 0x80) ++length;
      sign = "?";
      for (const auto& [from, to] : signs) {
        if (text.substr(0, length) == from) sign = to;
      }
    } else if (static_cast<unsigned char>(text[0]) < ' ' && text[0] != '\n') {
      sign = "?";
    }
    plain += sign;
    text.remove_prefix(length);
  }
  return plain;
}

}  // namespace kestrune::report
