#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "files/event_names.h"
#include "report/buckets.h"
#include "report/runs.h"
#include "report/time_zone.h"

namespace kestrune::report {

/// Texts by number, each once. Number 0 is the empty text. A text is cut behind `longest` bytes, and what
/// comes behind the `most` first ones gets number 0.
class Texts {
 public:
  static constexpr std::size_t longest = 200;
  static constexpr std::size_t most = 20'000;

  Texts() { IndexOf(""); }
  std::int32_t IndexOf(std::string_view text);
  const std::string& operator[](std::int32_t index) const { return texts_[static_cast<std::size_t>(index)]; }
  const std::vector<std::string>& All() const { return texts_; }

 private:
  std::vector<std::string> texts_;
  std::unordered_map<std::string, std::int32_t> index_;
};

/// A document that says something new.
struct Event {
  std::int64_t time = 0;  ///< epoch seconds
  EventLogType type = EventLogType::StartOfMonitoring;
  std::int8_t sfp = -1;   ///< 0 or 1 for a document of an SFP
  std::int32_t text = 0;  ///< what it says, in `EventLog::texts`
};

/// What `EventLog::link` says of an SFP without a fault.
inline constexpr std::string_view linkUpText = "link up";

/// Runs of one of the log's kinds, of which there are many.
class LoggedRuns : public Runs {
 public:
  LoggedRuns() : Runs(100'000) {}
};

/// The event log as read. The values of all runs but `sfpState` are numbers of `texts`.
struct EventLog {
  bool present = false;
  std::uint64_t bytes = 0;
  std::uint64_t documents = 0;  ///< whole ones
  std::uint64_t damaged = 0;    ///< places that hold no whole document
  bool unended = false;         ///< the last document isn't whole (yet)
  std::uint64_t repeated = 0;   ///< documents that say what the one before of their kind said
  std::uint64_t wild = 0;       ///< documents left out for a time far from their neighbours'
  std::uint64_t backward = 0;   ///< documents whose time lies before that of the one before
  std::uint64_t dropped = 0;    ///< events beyond the `limit` first

  static constexpr std::size_t limit = 200'000;
  std::vector<Event> events;  ///< in the order of the file, without repetitions
  Texts texts;
  std::int32_t linkUp = texts.IndexOf(linkUpText);  ///< the number of that text

  std::vector<std::int64_t> starts;           ///< "start of monitoring"
  std::vector<std::int64_t> ends;             ///< "end of monitoring"
  LoggedRuns genlock;                         ///< "locked"…
  LoggedRuns genlockSource;                   ///< "ST2059, 50"
  LoggedRuns card;                            ///< the card's state as the document has it, "follower locked"
  LoggedRuns bestSfp;                         ///< "SFP A", "SFP B", "invalid"
  LoggedRuns cardGrandmaster;                 ///< "0x80011fffe210001"
  std::array<LoggedRuns, sfpCount> link;      ///< "link up", "no module", "no signal", "transmit error"
  std::array<LoggedRuns, sfpCount> sfpState;  ///< PTP state code by the documents; -1 for a text without one
  std::array<LoggedRuns, sfpCount> sfpGrandmaster;  ///< "0x80011fffe210001"

  /// Changes, of all these kinds, that found no place.
  std::uint64_t DroppedChanges() const;
};

/// Reads an event log, whatever is in it: what isn't a document is passed over and counted. Adds its pairs of
/// local and epoch time to `zone`. A file that isn't there gives an empty log.
EventLog ReadEventLog(const std::string& fileName, TimeZone& zone);
/// The same of a text.
EventLog ParseEventLog(std::string_view text, TimeZone& zone);
/// Adds the documents of a text that goes on where the log's own ended, between two documents.
void ContinueEventLog(std::string_view text, EventLog& log);

}  // namespace kestrune::report
