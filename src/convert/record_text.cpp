#include "convert/record_text.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <type_traits>
#include <utility>

#include "diag/result_codes.h"
#include "diag/status.h"
#include "monitor/event_documents.h"

namespace kestrune {
namespace {

constexpr std::size_t Width(Rendering rendering) {
  switch (rendering) {
    case Rendering::Unsigned8:
      return 1;
    case Rendering::Unsigned32:
    case Rendering::Signed32:
    case Rendering::Hex32:
    case Rendering::IPv4:
    case Rendering::PortState:
    case Rendering::LinkSpeed:
      return 4;
    case Rendering::Unsigned64:
    case Rendering::Signed64:
    case Rendering::ClockIdentity:
    case Rendering::BitRate:
      return 8;
    case Rendering::Average:
    case Rendering::StandardDeviation:
      return 0;  // Made from other columns' bytes.
  }
  return 0;
}

/// Does the table read every byte of the unit that anything reads, each once and in the file's order?
consteval bool CoversUnit() {
  constexpr std::size_t notRead = sizeof TelemetryRecord::notRead1 +
                                  6 * (sizeof PtpAnnounceInfo::notRead4 + sizeof PtpAnnounceInfo::notRead28 +
                                       sizeof PtpAnnounceInfo::notRead84) +
                                  sizeof TelemetryRecord::notRead836 + sizeof TelemetryRecord::notRead964;
  std::size_t end = 0;
  std::size_t read = 0;
  for (const Column& column : columns) {
    const std::size_t width = Width(column.rendering);
    if (width == 0) continue;
    if (column.place < end) return false;
    end = column.place + width;
    read += width;
  }
  return end == sizeof(RawDataUnit) && read == sizeof(RawDataUnit) - notRead;
}
static_assert(CoversUnit());

template <class Value>
Value Read(const RawDataUnit& unit, std::size_t place) {
  Value value;
  std::memcpy(&value, reinterpret_cast<const char*>(&unit) + place, sizeof value);
  return value;
}

/// Most values have one digit.
template <class Integer>
char* WriteInteger(char* text, Integer value, int base = 10) {
  if (static_cast<std::make_unsigned_t<Integer>>(value) < 10) {
    *text = static_cast<char>('0' + value);
    return text + 1;
  }
  return std::to_chars(text, text + detail::longestDecimal<std::int64_t>, value, base).ptr;
}

char* WriteIPv4(char* text, const RawDataUnit& unit, std::size_t place) {
  const auto octets = Read<std::array<std::uint8_t, 4>>(unit, place);
  for (std::size_t i = 0; i < octets.size(); ++i) {
    if (i > 0) *text++ = '.';
    text = WriteInteger(text, octets[i]);
  }
  return text;
}

char* WriteClockIdentity(char* text, const RawDataUnit& unit, std::size_t place) {
  return WriteInteger(text, __builtin_bswap64(Read<std::uint64_t>(unit, place)), 16);
}

/// A pair of seconds and nanoseconds over the count, in nanoseconds.
double PerSample(const RawDataUnit& unit, const Column& column) {
  const std::int64_t seconds = Read<std::int32_t>(unit, column.place);
  const auto nanoseconds = Read<std::int32_t>(unit, column.place + sizeof(std::int32_t));
  const auto count = Read<std::uint32_t>(unit, column.countPlace);
  return (static_cast<double>(seconds * 1'000'000'000) + nanoseconds) / std::max(count, 1U);
}

/// The root of a negative variance is a NaN with the sign set.
double Root(double variance) {
  return variance < 0 ? -std::numeric_limits<double>::quiet_NaN() : std::sqrt(variance);
}

char* WriteText(char* text, std::string_view value) { return std::ranges::copy(value, text).out; }

std::uint64_t LinkSpeed(std::uint32_t code) {
  if (code == 1) return 10'000'000'000;
  if (code == 2) return 25'000'000'000;
  PrintStatus("Invalid link speed", ZV_E_INVALID_PARAMETER);
  return 0;
}

/// The rendering is known when it is compiled, so that a line's values follow one another without a branch.
template <Rendering rendering>
char* WriteValue(char* text, const RawDataUnit& unit, const Column& column) {
  const std::size_t place = column.place;
  switch (rendering) {
    case Rendering::Unsigned8:
      return WriteInteger(text, Read<std::uint8_t>(unit, place));
    case Rendering::Unsigned32:
      return WriteInteger(text, Read<std::uint32_t>(unit, place));
    case Rendering::Unsigned64:
      return WriteInteger(text, Read<std::uint64_t>(unit, place));
    case Rendering::Signed32:
      return WriteInteger(text, Read<std::int32_t>(unit, place));
    case Rendering::Signed64:
      return WriteInteger(text, Read<std::int64_t>(unit, place));
    case Rendering::Hex32:
      return WriteInteger(text, Read<std::uint32_t>(unit, place), 16);
    case Rendering::IPv4:
      return WriteIPv4(text, unit, place);
    case Rendering::ClockIdentity:
      return WriteClockIdentity(text, unit, place);
    case Rendering::Average:
      return WriteFloat(text, PerSample(unit, column));
    case Rendering::StandardDeviation:
      return WriteFloat(text, Root(PerSample(unit, column)));
    case Rendering::PortState:
      return WriteText(text, St2059StateText(Read<std::int32_t>(unit, place)));
    case Rendering::LinkSpeed:
      return WriteInteger(text, LinkSpeed(Read<std::uint32_t>(unit, place)));
    case Rendering::BitRate:
      return WriteInteger(text, Read<std::uint64_t>(unit, place) * 8);
  }
  return text;
}

std::string_view Mark(const Column& column) {
  if (!column.marked) return "";
  switch (column.rendering) {
    case Rendering::Hex32:
    case Rendering::ClockIdentity:
      return "(0x)";
    case Rendering::Average:
    case Rendering::StandardDeviation:
      return "(0f)";
    default:
      return "";
  }
}

}  // namespace

std::string HeaderText() {
  std::string text =
      "Abbreviations. bestMasterLastPtpAnnouncePacket : bmlpap; performanceMonitoring : pm ; "
      "listOfPtpMaster : lptpm; timeProperties : tp\n";
  for (const Column& column : columns) {
    if (&column != &columns.front()) text += ", ";
    text.append(column.block).append(column.name).append(Mark(column));
  }
  return text;
}

std::size_t WriteLine(const RawDataUnit& unit, std::span<char, longestLine> line) {
  char* text = line.data();
  [&]<std::size_t... i>(std::index_sequence<i...>) {
    ((text = WriteValue<columns[i].rendering>(text, unit, columns[i]), *text++ = ','), ...);
  }
  (std::make_index_sequence<columns.size()>());
  text[-1] = '\n';
  return static_cast<std::size_t>(text - line.data());
}

}  // namespace kestrune
