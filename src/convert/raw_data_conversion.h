#pragma once

#include <cstdint>
#include <fstream>
#include <iosfwd>
#include <string>
#include <string_view>

namespace kestrune {

struct ConversionFiles {
  std::ifstream source;
  std::ofstream destination;
};

/// Opens the raw data file for reading, then the text file, which is emptied. An empty source name is
/// "ptpLog_raw_data", an empty destination name the default, an empty folder the current working directory. A
/// file that doesn't open, and a destination that is the source itself, end the process with exit status -1;
/// the source is never touched.
ConversionFiles OpenConversionFiles(const char* defaultDestinationName, std::string sourceName,
                                    std::string sourceFolder, std::string destinationName,
                                    std::string destinationFolder);

/// Converts a raw data file into comma-separated text: two header lines, then a line a unit. The files are
/// named as by OpenConversionFiles. Every failure is printed and ends the process with exit status -1: a
/// source size that isn't a whole number of units leaves the text empty, a failing read or write leaves what
/// was written before. Units that are added to the source meanwhile are not converted.
void ConvertRawData(const char* defaultDestinationName, std::string sourceName, std::string sourceFolder,
                    std::string destinationName, std::string destinationFolder);

enum class ConversionResult { Completed, ReadFailed, WriteFailed };

/// Writes `heading`, then a line for each unit of `size` bytes from where `source` stands, and flushes
/// `destination`. A failing read leaves the lines of all units before it. Works in blocks: what it holds in
/// memory doesn't grow with the size.
ConversionResult ConvertUnits(std::istream& source, std::int64_t size, std::string_view heading,
                              std::ostream& destination);

}  // namespace kestrune
