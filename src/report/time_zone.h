#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kestrune::report {

/// A civil time without a zone, "YYYY-MM-DD hh:mm:ss", as seconds since 1970-01-01 00:00:00 of that same
/// clock; nothing for a text that isn't one. Anything may stand between date and time.
std::optional<std::int64_t> ParseCivilTime(std::string_view text);

/// "YYYY-MM-DD hh:mm:ss" of a civil time; years 0 to 9999.
std::string CivilTimeText(std::int64_t civil);

/// The local time of the machine that recorded, from the files' own pairs of epoch and local time.
class TimeZone {
 public:
  struct Change {
    std::int64_t from;    ///< epoch seconds
    std::int32_t offset;  ///< local time − UTC, seconds
  };

  /// A pair as a file has it. A text that isn't a time, or is more than 15 hours off, adds nothing.
  void Add(std::int64_t epoch, std::string_view localTime);
  /// Is there any pair?
  bool Known() const { return !pairs_.empty(); }
  /// The offsets in force, in rising order; between two pairs that differ by a change of clocks, the change
  /// is put at the first whole hour (UTC) behind the earlier pair. Empty when not known.
  std::vector<Change> Changes() const;
  /// Local time − UTC at a time, seconds; 0 when not known.
  std::int32_t OffsetAt(std::int64_t epoch) const;
  /// "+01:00", or "UTC" when not known.
  std::string NameAt(std::int64_t epoch) const;

 private:
  std::map<std::int64_t, std::int32_t>
      pairs_;  // only those at which the offset differs from the pair before, and the last
};

}  // namespace kestrune::report
