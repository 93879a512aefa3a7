#include "convert/record_text.h"

#include <cmath>
#include <cstring>
#include <utility>

#include "diag/result_codes.h"
#include "diag/status.h"
#include "files/code_texts.h"

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
Value Read(const char* place) {
  Value value;
  std::memcpy(&value, place, sizeof value);
  return value;
}

char* WriteSigned(char* text, std::int64_t value) {
  *text = '-';
  const auto bits = static_cast<std::uint64_t>(value);
  return WriteDecimal(text + (value < 0), value < 0 ? 0 - bits : bits);
}

char* WriteIPv4(char* text, const char* octets) {
  for (std::size_t i = 0; i < 4; ++i) {
    if (i > 0) *text++ = '.';
    text = WriteDecimal(text, static_cast<std::uint8_t>(octets[i]));
  }
  return text;
}

/// A pair of seconds and nanoseconds over the count, in nanoseconds.
double PerSample(const char* unit, const Column& column) {
  const std::int64_t seconds = Read<std::int32_t>(unit + column.place);
  const auto nanoseconds = Read<std::int32_t>(unit + column.place + sizeof(std::int32_t));
  const auto count = Read<std::uint32_t>(unit + column.countPlace);
  return (static_cast<double>(seconds * 1'000'000'000) + nanoseconds) / std::max(count, 1U);
}

/// The root of a negative variance is a NaN with the sign set.
double Root(double variance) {
  return variance < 0 ? -std::numeric_limits<double>::quiet_NaN() : std::sqrt(variance);
}

char* WriteText(char* text, std::string_view value) {
  std::memcpy(text, value.data(), value.size());
  return text + value.size();
}

std::uint64_t LinkSpeed(std::uint32_t code) {
  if (code == 1) return 10'000'000'000;
  if (code == 2) return 25'000'000'000;
  PrintStatus("Invalid link speed", ZV_E_INVALID_PARAMETER);
  return 0;
}

/// The rendering is known when it is compiled, so that a line's values follow one another without a branch.
template <Rendering rendering>
char* WriteValue(char* text, const char* unit, const Column& column) {
  const char* const place = unit + column.place;
  switch (rendering) {
    case Rendering::Unsigned8:
      return WriteDecimal(text, Read<std::uint8_t>(place));
    case Rendering::Unsigned32:
      return WriteDecimal(text, Read<std::uint32_t>(place));
    case Rendering::Unsigned64:
      return WriteDecimal(text, Read<std::uint64_t>(place));
    case Rendering::Signed32:
      return WriteSigned(text, Read<std::int32_t>(place));
    case Rendering::Signed64:
      return WriteSigned(text, Read<std::int64_t>(place));
    case Rendering::Hex32:
      return WriteHexadecimal(text, Read<std::uint32_t>(place));
    case Rendering::IPv4:
      return WriteIPv4(text, place);
    case Rendering::ClockIdentity:
      return WriteHexadecimal(text, __builtin_bswap64(Read<std::uint64_t>(place)));
    case Rendering::Average:
      return WriteFloat(text, PerSample(unit, column));
    case Rendering::StandardDeviation:
      return WriteFloat(text, Root(PerSample(unit, column)));
    case Rendering::PortState:
      return WriteText(text, St2059StateText(Read<std::int32_t>(place)));
    case Rendering::LinkSpeed:
      return WriteDecimal(text, LinkSpeed(Read<std::uint32_t>(place)));
    case Rendering::BitRate:
      return WriteDecimal(text, Read<std::uint64_t>(place) * 8);
  }
  return text;
}

/// The values of the columns from `begin` on, a comma behind each. Parameters, unlike a lambda's captures,
/// stay in registers.
template <std::size_t begin, std::size_t... i>
char* WriteColumns(char* text, const char* unit, std::index_sequence<i...>) {
  ((text = WriteValue<columns[begin + i].rendering>(text, unit, columns[begin + i]), *text++ = ','), ...);
  return text;
}

template <std::size_t begin, std::size_t end>
char* WriteColumns(char* text, const char* unit) {
  return WriteColumns<begin>(text, unit, std::make_index_sequence<end - begin>());
}

constexpr std::size_t announceSize = std::size(detail::announceRows);

constexpr std::size_t ColumnOf(std::string_view block) {
  return static_cast<std::size_t>(std::ranges::find(columns, block, &Column::block) - columns.begin());
}

/// The list of masters: most entries are empty, and the best master is one of the others.
char* WriteMasters(char* text, const RawDataUnit& unit, std::string_view bestMasterText) {
  static constexpr PtpAnnounceInfo noMaster{};
  static constexpr std::string_view noMasterText = "0.0.0.0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,0,";
  static_assert(std::ranges::count(noMasterText, ',') == announceSize, "a value for each column");
  constexpr std::size_t first = ColumnOf("lptpm0-");
  const auto equal = [](const PtpAnnounceInfo& left, const PtpAnnounceInfo& right) {
    return std::memcmp(&left, &right, sizeof left) == 0;
  };
  const char* bytes = reinterpret_cast<const char*>(&unit);
  for (const PtpAnnounceInfo& master : unit.record.listOfPtpMaster) {
    if (equal(master, noMaster)) {
      text = WriteText(text, noMasterText);
    } else if (equal(master, unit.record.bestMasterLastPtpAnnouncePacket)) {
      text = WriteText(text, bestMasterText);
    } else {
      text = WriteColumns<first, first + announceSize>(text, bytes);
    }
    bytes += sizeof master;
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
  constexpr std::size_t bestMaster = ColumnOf("bmlpap-");
  const char* const bytes = reinterpret_cast<const char*>(&unit);
  char* text = WriteColumns<0, bestMaster>(line.data(), bytes);
  char* const bestMasterBegin = text;
  text = WriteColumns<bestMaster, bestMaster + announceSize>(text, bytes);
  const std::string_view bestMasterText(bestMasterBegin, text);
  text = WriteColumns<bestMaster + announceSize, ColumnOf("lptpm0-")>(text, bytes);
  text = WriteMasters(text, unit, bestMasterText);
  text = WriteColumns<ColumnOf("lptpm4-") + announceSize, columns.size()>(text, bytes);
  text[-1] = '\n';
  return static_cast<std::size_t>(text - line.data());
}

}  // namespace kestrune
