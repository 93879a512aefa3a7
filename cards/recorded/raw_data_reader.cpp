#include "recorded/raw_data_reader.h"

#include <filesystem>
#include <system_error>
#include <utility>

#include "diag/result_codes.h"
#include "recorded/played_time.h"

namespace kestrune::recorded {

std::variant<RawDataReader, RecordingError> RawDataReader::Open(const std::string& path) {
  const std::filesystem::path place(std::u8string(path.begin(), path.end()));
  std::error_code failure;
  if (!std::filesystem::exists(place, failure)) {
    return RecordingError{ZV_E_FILE_NOT_FOUND, path + ": there is no such file"};
  }
  auto opened = kit::OpenRegularFile(path);
  if (const auto* reason = std::get_if<std::string>(&opened)) {
    return RecordingError{ZV_E_FAILED_TO_OPEN_FILE, path + ": " + *reason};
  }
  const std::uintmax_t size = std::filesystem::file_size(place, failure);
  if (failure || size % sizeof(RawDataUnit) != 0) {
    return RecordingError{ZV_E_CORRUPT_FILE,
                          path + ": is torn: its length is no multiple of the 1024 bytes of a record"};
  }
  RawDataReader reader(std::move(std::get<kit::File>(opened)));
  const auto first = reader.Next();
  if (!first || !PlayedTime::InCalendar(first->epochTime) || first->record.numberOfPtpMasters < 0 ||
      first->record.numberOfPtpMasters >
          static_cast<std::int32_t>(std::size(first->record.listOfPtpMaster))) {
    return RecordingError{ZV_E_INVALID_FILE_FORMAT,
                          path + (size == 0 ? ": holds no record" : ": is not a raw data file")};
  }
  reader.Rewind();
  return reader;
}

std::optional<RawDataUnit> RawDataReader::Next() {
  RawDataUnit unit;
  if (std::fread(&unit, sizeof unit, 1, file_.get()) != 1) return std::nullopt;
  return unit;
}

}  // namespace kestrune::recorded
