#include "convert/raw_data_conversion.h"

#include <algorithm>
#include <cstddef>
#include <span>
#include <utility>
#include <vector>

#include "convert/record_text.h"
#include "files/raw_data.h"
#include "platform/console.h"
#include "platform/paths.h"
#include "platform/process.h"

namespace kestrune {
namespace {

constexpr char defaultSourceName[] = "ptpLog_raw_data";
constexpr std::int64_t unitSize = sizeof(RawDataUnit);
constexpr std::int64_t unitsPerBlock = 32;

/// Lines on their way into a file. They end anywhere, but are written by whole pages: one that two writes
/// share costs twice.
class TextBlock {
 public:
  TextBlock(std::ostream& destination, std::string_view heading)
      : destination_(destination), text_(size + heading.size() + longestLine), length_(heading.size()) {
    std::ranges::copy(heading, text_.begin());
  }

  bool Add(const RawDataUnit& unit) {
    length_ += WriteLine(unit, std::span(text_).subspan(length_).first<longestLine>());
    return length_ < size || Write(length_ / pageSize * pageSize);
  }

  bool Flush() { return Write(length_) && destination_.flush(); }

 private:
  static constexpr std::size_t size = 256 * 1024;
  static constexpr std::size_t pageSize = 4096;

  bool Write(std::size_t part) {
    destination_.write(text_.data(), static_cast<std::streamsize>(part));
    length_ -= part;
    std::copy_n(text_.data() + part, length_, text_.data());
    return destination_.good();
  }

  std::ostream& destination_;
  std::vector<char> text_;
  std::size_t length_;
};

/// How many whole units could be read. A stream may throw away what it has read before an error, so then they
/// are read once more, one by one.
std::size_t ReadUnits(std::istream& source, std::span<RawDataUnit> units) {
  const auto read = [&](std::span<RawDataUnit> some) {
    const auto bytes = std::as_writable_bytes(some);
    return !!source.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  };
  const std::istream::pos_type begin = source.tellg();
  if (read(units)) return units.size();
  source.clear();
  source.seekg(begin);
  std::size_t count = 0;
  while (count < units.size() && read(units.subspan(count, 1))) ++count;
  return count;
}

void Print(const char* line) { PrintToConsole(std::string(line) + '\n'); }

[[noreturn]] void Fail(const char* line) {
  Print(line);
  EndProcess(-1);
}

}  // namespace

ConversionFiles OpenConversionFiles(const char* defaultDestinationName, std::string sourceName,
                                    std::string sourceFolder, std::string destinationName,
                                    std::string destinationFolder) {
  ConversionFiles files;
  if (sourceName.empty()) sourceName = defaultSourceName;
  const std::string source = NativePath(WithSeparator(std::move(sourceFolder)) + sourceName);
  files.source.open(source, std::ios::in | std::ios::binary);
  if (!files.source.is_open() || IsFolder(source)) Fail("Could not open raw file for reading.");

  if (destinationName.empty()) destinationName = defaultDestinationName;
  const std::string destination = NativePath(WithSeparator(std::move(destinationFolder)) + destinationName);
  if (IsSameFile(source, destination)) Fail("The raw file and the output file are the same file.");
  files.destination.open(destination, std::ios::out | std::ios::binary | std::ios::trunc);
  if (!files.destination.is_open()) Fail("Could not open output file for writing.");
  return files;
}

ConversionResult ConvertUnits(std::istream& source, std::int64_t size, std::string_view heading,
                              std::ostream& destination) {
  std::vector<RawDataUnit> units(unitsPerBlock);
  TextBlock text(destination, heading);
  for (std::int64_t left = size / unitSize; left > 0; left -= unitsPerBlock) {
    const auto block = std::span(units).first(static_cast<std::size_t>(std::min(left, unitsPerBlock)));
    const auto sound = block.first(ReadUnits(source, block));
    for (const RawDataUnit& unit : sound) {
      if (!text.Add(unit)) return ConversionResult::WriteFailed;
    }
    if (sound.size() < block.size()) {
      return text.Flush() ? ConversionResult::ReadFailed : ConversionResult::WriteFailed;
    }
  }
  return text.Flush() ? ConversionResult::Completed : ConversionResult::WriteFailed;
}

void ConvertRawData(const char* defaultDestinationName, std::string sourceName, std::string sourceFolder,
                    std::string destinationName, std::string destinationFolder) {
  auto [source, destination] =
      OpenConversionFiles(defaultDestinationName, std::move(sourceName), std::move(sourceFolder),
                          std::move(destinationName), std::move(destinationFolder));
  source.seekg(0, std::ios::end);
  const std::int64_t size = source.tellg();
  if (size % unitSize != 0) Fail("Raw file size does not align with the expected data.");
  source.seekg(0);

  Print("Starting processing of monitoring data.");
  switch (ConvertUnits(source, size, HeaderText() + '\n', destination)) {
    case ConversionResult::Completed:
      break;
    case ConversionResult::ReadFailed:
      Fail("Could not read the raw file to its end.");
    case ConversionResult::WriteFailed:
      Fail("Could not write the output file.");
  }
  destination.close();
  Print("Completed processing the monitoring data.");
}

}  // namespace kestrune
