#include "convert/raw_data_conversion.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <sstream>
#include <streambuf>
#include <string>

#include "monitor/raw_data.h"

namespace kestrune {
namespace {

/// Units that say nothing on the console; each has its own time.
std::string Units(int count) {
  std::string bytes;
  for (int i = 0; i < count; ++i) {
    RawDataUnit unit{};
    unit.epochTime = 1000 + i;
    unit.record.state = 10;
    unit.record.linkSpeed = 1;
    bytes.append(reinterpret_cast<const char*>(&unit), sizeof unit);
  }
  return bytes;
}

/// Takes `room` characters and fails from then on, as a disk does.
class FullDisk : public std::streambuf {
 public:
  explicit FullDisk(std::streamsize room) : room_(room) {}

 protected:
  std::streamsize xsputn(const char*, std::streamsize size) override {
    const std::streamsize taken = std::min(size, room_);
    room_ -= taken;
    return taken;
  }

 private:
  std::streamsize room_;
};

TEST(RawDataConversion, EveryUnitOnceAndInOrder) {
  for (const int count : {0, 1, 127, 128, 129, 300}) {
    std::istringstream source(Units(count) + "added meanwhile");
    std::stringstream destination;
    EXPECT_EQ(ConvertUnits(source, count * 1024, destination), ConversionResult::Completed);
    std::string line;
    int lines = 0;
    for (; std::getline(destination, line); ++lines) {
      ASSERT_TRUE(line.starts_with(std::to_string(1000 + lines) + ",0,")) << line;
    }
    EXPECT_EQ(lines, count);
  }
}

TEST(RawDataConversion, SourceEndsEarly) {
  for (const std::size_t missing : {1U, 1024U, 172U * 1024U, 300U * 1024U}) {
    std::istringstream source(Units(300).erase(300 * 1024 - missing));
    std::ostringstream destination;
    EXPECT_EQ(ConvertUnits(source, 300 * 1024, destination), ConversionResult::ReadFailed) << missing;
  }
}

TEST(RawDataConversion, DiskFull) {
  for (const std::streamsize room : {0, 1, 60'000, 128'000}) {
    std::istringstream source(Units(300));
    FullDisk disk(room);
    std::ostream destination(&disk);
    EXPECT_EQ(ConvertUnits(source, 300 * 1024, destination), ConversionResult::WriteFailed) << room;
  }
  std::istringstream empty;
  std::ostringstream failed;
  failed.setstate(std::ios::badbit);  // The header was not written.
  EXPECT_EQ(ConvertUnits(empty, 0, failed), ConversionResult::WriteFailed);
}

TEST(RawDataConversion, UnitBeyond4GiB) {
  constexpr std::int64_t place = (std::int64_t{4} << 30) + 1024;
  const std::string name = testing::TempDir() + "kestrune_beyond_4_gib";
  {
    std::ofstream file(name, std::ios::binary);
    file.seekp(place);
    file << Units(1);
    ASSERT_TRUE(file.flush());
  }
  {
    std::ifstream source(name, std::ios::binary);
    source.seekg(0, std::ios::end);
    EXPECT_EQ(source.tellg(), place + 1024);
    source.seekg(place);
    std::ostringstream destination;
    EXPECT_EQ(ConvertUnits(source, 1024, destination), ConversionResult::Completed);
    EXPECT_TRUE(destination.str().starts_with("1000,0,"));
  }
  std::remove(name.c_str());
}

}  // namespace
}  // namespace kestrune
