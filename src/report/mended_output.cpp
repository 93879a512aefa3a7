#include "report/mended_output.h"

#include <algorithm>

#include "platform/input_file.h"
#include "report/unit_reader.h"

namespace kestrune::report {

MendedResult WriteMended(const std::string& rawDataFile, std::ostream& output) {
  MendedResult result;
  InputFile file;
  if (!file.Open(rawDataFile)) return result;
  UnitReader reader(file, 0, static_cast<std::uint64_t>(std::max<std::int64_t>(file.Size(), 0)));
  const auto count = [&] {
    for (const SkippedBytes& skipped : reader.TakeSkipped()) {
      ++result.places;
      result.bytes += skipped.bytes;
    }
  };
  for (auto units = reader.Next(); !units.empty() && output.good(); units = reader.Next()) {
    count();
    const auto bytes = std::as_bytes(units);
    output.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    result.units += units.size();
  }
  count();
  result.bytes += reader.TornBytes();
  result.good = output.flush().good();
  return result;
}

}  // namespace kestrune::report
