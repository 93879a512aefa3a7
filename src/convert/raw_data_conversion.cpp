#include "convert/raw_data_conversion.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <iostream>
#include <span>
#include <utility>
#include <vector>

#include "convert/record_text.h"
#include "monitor/raw_data.h"
#include "platform/paths.h"
#include "platform/process.h"

namespace kestrune {
namespace {

constexpr char defaultSourceName[] = "ptpLog_raw_data";
constexpr std::int64_t unitSize = sizeof(RawDataUnit);
constexpr std::int64_t unitsPerBlock = 128;

void Print(const char* line) { std::cout << line << std::endl; }

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

ConversionResult ConvertUnits(std::istream& source, std::int64_t size, std::ostream& destination) {
  std::vector<RawDataUnit> units(unitsPerBlock);
  std::string text;
  text.reserve(unitsPerBlock * longestLine);
  std::array<char, longestLine> line;

  for (std::int64_t left = size / unitSize; left > 0; left -= unitsPerBlock) {
    const auto block = std::span(units).first(static_cast<std::size_t>(std::min(left, unitsPerBlock)));
    if (!source.read(reinterpret_cast<char*>(block.data()),
                     static_cast<std::streamsize>(block.size_bytes()))) {
      return ConversionResult::ReadFailed;
    }
    text.clear();
    for (const RawDataUnit& unit : block) text.append(line.data(), WriteLine(unit, line));
    if (!destination.write(text.data(), static_cast<std::streamsize>(text.size()))) {
      return ConversionResult::WriteFailed;
    }
  }
  return destination.flush() ? ConversionResult::Completed : ConversionResult::WriteFailed;
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

  destination << HeaderText() << '\n';
  Print("Starting processing of monitoring data.");
  switch (ConvertUnits(source, size, destination)) {
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
