// Arbitrary bytes as a raw data file: whatever they are, every whole unit becomes one line of the right
// values, and a unit torn off at the end is a failing read.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <sstream>
#include <string>
#include <string_view>

#include "convert/columns.h"
#include "convert/raw_data_conversion.h"

namespace kestrune {
namespace {

void Check(bool holds) {
  if (!holds) std::abort();
}

template <class Value>
Value Read(std::string_view unit, std::size_t place) {
  Value value;
  std::memcpy(&value, unit.substr(place, sizeof value).data(), sizeof value);
  return value;
}

std::string FloatText(std::string_view unit, const Column& column) {
  const auto count = Read<std::uint32_t>(unit, column.countPlace);
  const auto seconds = Read<std::int32_t>(unit, column.place);
  const auto nanoseconds = Read<std::int32_t>(unit, column.place + sizeof seconds);
  double value = (1e9 * seconds + nanoseconds) / (count == 0 ? 1 : count);
  if (column.rendering == Rendering::StandardDeviation) {
    if (value < 0) return "-nan";
    value = std::sqrt(value);
  }
  char text[64];
  std::snprintf(text, sizeof text, "%.14g", value);
  return text;
}

bool IsPlain(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || c == '-' || c == '+' || c == '.';
}

void CheckLine(std::string_view line, std::string_view unit) {
  std::istringstream values{std::string(line)};
  std::string value;
  std::size_t i = 0;
  while (std::getline(values, value, ',')) {
    Check(i < columns.size() && !value.empty());
    const Column& column = columns[i++];
    if (column.rendering == Rendering::Average || column.rendering == Rendering::StandardDeviation) {
      Check(value == FloatText(unit, column));
    } else {
      Check(std::ranges::all_of(value, IsPlain) || value == "follower locked" ||
            value == "follower unlocked");
    }
  }
  Check(i == columns.size());
}

}  // namespace
}  // namespace kestrune

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  std::cout.rdbuf(nullptr);  // Port states and link speeds are mostly invalid.
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kestrune;
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  constexpr std::size_t unitSize = sizeof(RawDataUnit);
  const std::size_t roundedUp = (size + unitSize - 1) / unitSize * unitSize;

  std::istringstream source{std::string(bytes)};
  std::stringstream destination;
  const ConversionResult result = ConvertUnits(source, static_cast<std::int64_t>(roundedUp), "", destination);
  Check(result == (roundedUp == size ? ConversionResult::Completed : ConversionResult::ReadFailed));
  if (result != ConversionResult::Completed) return 0;

  std::string line;
  std::size_t place = 0;
  for (; std::getline(destination, line); place += unitSize) CheckLine(line, bytes.substr(place, unitSize));
  Check(place == size);
  return 0;
}
