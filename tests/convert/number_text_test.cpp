#include "convert/number_text.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace kestrune {
namespace {

std::string Written(double value) {
  char text[numberRoom];
  return {text, WriteFloat(text, value)};
}

void ExpectAsPrintf(double value) {
  char text[64];
  std::snprintf(text, sizeof text, "%.14g", value);
  ASSERT_EQ(Written(value), text) << std::hexfloat << value;
}

TEST(NumberText, WholeNumbersOfEveryLength) {
  std::mt19937_64 random(20);
  std::vector<std::uint64_t> values{0, std::numeric_limits<std::uint64_t>::max()};
  for (std::uint64_t power = 1; power < 10'000'000'000'000'000'000U; power *= 10) {
    values.insert(values.end(), {power - 1, power, power + 1, 10 * power - 1});
  }
  for (int i = 0; i < 100'000; ++i) values.push_back(random() >> (random() % 64));
  for (const std::uint64_t value : values) {
    char text[numberRoom];
    ASSERT_EQ(std::string(text, WriteDecimal(text, value)), std::to_string(value));
    std::ostringstream hexadecimal;
    hexadecimal << std::hex << value;
    ASSERT_EQ(std::string(text, WriteHexadecimal(text, value)), hexadecimal.str());
  }
}

TEST(NumberText, IsPrintfsAtEveryEdge) {
  for (const double value :
       {0.0, 0.1, 0.25, 0.5, 0.1000000000000049, 0.99999999999995, 0.999999999999995, 1e-5, 1e-4, 1.0, 1.5,
        9.9999999999999, 9.99999999999995, 99999999999.9995, 999999999999.995, 9999999999999.95, 1e13,
        99999999999999.4, 99999999999999.5, 1e14,
        // Halves, to even either way, with and without a carry.
        1234567890123.25, 1234567890123.75, 1234567890123.125, 2199023255552.5, 1.0000000000001,
        4503599627370496.5, 9007199254740993.0, 1e-300, 4.9e-324, std::numeric_limits<double>::max()}) {
    for (const double side : {std::nextafter(value, 0.0), value, std::nextafter(value, INFINITY)}) {
      ExpectAsPrintf(side);
      ExpectAsPrintf(-side);
    }
  }
}

TEST(NumberText, IsPrintfsForManyValues) {
  std::mt19937_64 random(14);
  const auto figure = [&] {
    return static_cast<double>(static_cast<std::int64_t>(random()) >> (random() % 64));
  };
  for (int i = 0; i < 100'000; ++i) {
    const double mean = figure() / static_cast<double>(1 + (random() >> (32 + random() % 32)));
    ExpectAsPrintf(mean);
    ExpectAsPrintf(std::sqrt(std::abs(mean)));
    // Few bits behind the point: many of these lie half-way between two texts.
    ExpectAsPrintf(std::ldexp(static_cast<double>(random() >> 11), -static_cast<int>(random() % 57)));
    if (const auto any = std::bit_cast<double>(random()); std::isfinite(any)) ExpectAsPrintf(any);
  }
}

}  // namespace
}  // namespace kestrune
