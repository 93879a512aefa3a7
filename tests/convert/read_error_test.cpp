#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "convert/raw_data_conversion.h"
#include "support/test_run.h"

namespace kestrune {
namespace {

/// A file whose bytes end in a real error: the process's own memory, mapped from a file that is shorter.
TEST(RawDataConversion, AReadErrorCostsNoUnitBeforeIt) {
  const test::ConsoleCapture console;  // zeros have no port state
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  constexpr std::size_t pages = 18;
  const auto unitsAPage = static_cast<std::int64_t>(page / 1024);
  const int mapped = memfd_create("units", 0);
  void* const memory = mmap(nullptr, pages * page, PROT_READ, MAP_SHARED, mapped, 0);
  ASSERT_NE(memory, MAP_FAILED);
  for (const std::size_t sound : {pages - 1, std::size_t{3}, std::size_t{0}}) {
    ASSERT_EQ(ftruncate(mapped, static_cast<off_t>(sound * page)), 0);
    std::ifstream source("/proc/self/mem", std::ios::binary);
    source.seekg(static_cast<std::streamoff>(reinterpret_cast<std::uintptr_t>(memory)));
    std::ostringstream destination;
    EXPECT_EQ(ConvertUnits(source, 1024 * 1024, "", destination), ConversionResult::ReadFailed);
    EXPECT_EQ(std::ranges::count(destination.str(), '\n'), static_cast<std::int64_t>(sound) * unitsAPage);
  }
  munmap(memory, pages * page);
  close(mapped);
}

}  // namespace
}  // namespace kestrune
