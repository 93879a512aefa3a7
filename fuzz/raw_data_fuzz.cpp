#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <string>

#include "report/mended_output.h"
#include "report/raw_units.h"
#include "report/recording.h"

namespace kestrune::report {
namespace {

/// A file made by steps of eight bytes: so many units, their distance in time, how much of the last one is
/// left, and what stands behind it; and the input itself at the end.
std::string MakeRawData(const std::uint8_t* data, std::size_t size) {
  std::string bytes;
  std::int64_t time = 1'772'434'800;
  for (std::size_t i = 0; i + 8 <= size && i < 64; i += 8) {
    const std::uint8_t* step = data + i;
    std::int32_t leap = 0;
    std::memcpy(&leap, step + 1, sizeof leap);
    time += step[0] < 16 ? leap : leap % 100;
    for (int count = 0; count < step[0] % 96; ++count) {
      const RawDataUnit unit =
          MakeUnit(time, step[5] % 2 != 0 ? count % 2 : step[5] % 4, leap % 1000, step[6] % 12);
      bytes.append(reinterpret_cast<const char*>(&unit), sizeof unit);
      if (count % 2 != 0) time += step[5] % 3;
    }
    if (step[7] % 4 == 0) bytes.resize(bytes.size() - std::min<std::size_t>(bytes.size(), step[7] * 4));
    if (step[7] % 4 == 1) bytes.append(step[7], static_cast<char>(step[6]));
  }
  return bytes.append(reinterpret_cast<const char*>(data), size);
}

void Check(const RunFiles& files) {
  const Recording recording = files.Read();
  if (recording.units * sizeof(RawDataUnit) + recording.damagedBytes + recording.tornBytes !=
      recording.rawDataBytes) {
    std::abort();
  }
  const Seconds seconds = SecondsReader(recording).Read(INT64_MIN, INT64_MAX);
  for (std::size_t k = 0; k < sfpCount; ++k) {
    std::uint64_t inBuckets = 0;
    std::uint64_t inSeconds = 0;
    for (const Bucket& bucket : recording.sfp[k].buckets) inBuckets += bucket.records;
    for (const Bucket& second : seconds.sfp[k]) inSeconds += second.records;
    if (inBuckets != recording.sfp[k].records || inSeconds != inBuckets) std::abort();
  }
  std::ostringstream mended;
  const MendedResult result = WriteMended(files.Names().rawData, mended);
  if (!result.good || mended.str().size() != recording.units * sizeof(RawDataUnit)) std::abort();
}

}  // namespace
}  // namespace kestrune::report

// Raw data of whole, torn, displaced and wild units: what is read adds up, however often it is read.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const kestrune::report::RunFiles files;
  files.WriteRawData(kestrune::report::MakeRawData(data, size));
  kestrune::report::Check(files);
  return 0;
}
