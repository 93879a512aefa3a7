#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "files/raw_data.h"
#include "platform/input_file.h"
#include "report/buckets.h"
#include "report/event_log.h"
#include "report/histogram.h"
#include "report/masters.h"
#include "report/period_lines.h"
#include "report/runs.h"
#include "report/time_zone.h"

namespace kestrune::report {

/// Messages of one SFP in the whole recording.
struct MessageCounts {
  std::uint64_t syncs = 0;         ///< measured
  std::uint64_t syncsDue = 0;      ///< see Bucket
  std::uint64_t resps = 0;         ///< measured
  std::uint64_t respsDue = 0;      ///< see Bucket
  std::uint64_t followUps = 0;     ///< received, by the card's counter
  std::uint64_t followUpsDue = 0;  ///< Sync messages received by the card's counter, two-step only
  std::uint64_t announces = 0;     ///< of the best master, by the card's counters
  double announcesDue = 0;
  std::uint64_t announcesForeign = 0;
  std::uint64_t delayReqsSent = 0;
  std::uint64_t delayRespsReceived = 0;  ///< by the card's counter
  std::uint64_t discarded = 0;
  std::uint64_t linkErrors = 0;
  std::uint64_t linkDrops = 0;
};

/// A stretch of time, [from, to), epoch seconds.
struct Stretch {
  std::int64_t from = 0;
  std::int64_t to = 0;
};

/// A place of the raw data that isn't a unit.
struct Damage {
  std::uint64_t at = 0;     ///< byte
  std::uint64_t bytes = 0;  ///< left out
  std::int64_t time = 0;    ///< of the record before it; 0 at the beginning
};

/// The time stamps leap although the records go on by the card's counters, or leap back.
struct ClockStep {
  std::int64_t at = 0;      ///< stamp before the step
  std::int64_t by = 0;      ///< seconds, negative when the clock was set back
  std::uint64_t place = 0;  ///< byte of the first unit behind it
};

/// A part of the raw data that one run of the recorder wrote, by the event log's start documents and by time
/// stamps.
struct RecorderRun {
  std::int64_t from = 0;  ///< first record's second
  std::int64_t to = 0;    ///< the second behind the last record's
  std::uint64_t place = 0;
  std::uint64_t records = 0;
};

/// Least and greatest with their moments, epoch seconds.
struct Extremes {
  std::int64_t least = 0;
  std::int64_t leastAt = 0;
  std::int64_t greatest = 0;
  std::int64_t greatestAt = 0;
};

/// What is known of one SFP over the whole recording.
struct SfpRecording {
  std::uint64_t records = 0;
  std::int64_t first = 0;       ///< second of the first record; 0 without records
  std::int64_t end = 0;         ///< the second behind the last record
  Runs state;                   ///< PTP state code; 0 where there is no telemetry
  Runs master;                  ///< index into `Recording::masters`; 0: none
  Runs linkSpeed;               ///< the card's code
  std::vector<Bucket> buckets;  ///< `Recording::bucketWidth` seconds each, rising, only those with records
  std::array<Stat, quantityCount> all;     ///< ns
  std::array<Stat, quantityCount> locked;  ///< records in the state follower locked only
  Extremes offset;                         ///< single messages, ns
  std::uint64_t secondCount = 0;           ///< records with Sync messages
  Extremes offsetLocked;
  Histogram secondOffset;  ///< average offset of each locked second, ns rounded
  Histogram worstOffset;   ///< greatest absolute offset of a message in each locked second, ns
  Histogram secondPath;    ///< average path delay of each locked second, ns rounded
  Stat transmitRate;       ///< bytes a second; its deviation is that of averages of some minutes
  Stat receiveRate;
  MessageCounts messages;
};

/// Where reading single seconds may begin: the state of the pass at a unit.
struct Checkpoint {
  std::uint64_t place = 0;                    ///< byte of a unit
  std::int64_t stamp = 0;                     ///< of that unit
  std::int64_t from = 0;                      ///< least second of the units from here to the next checkpoint
  std::int64_t to = 0;                        ///< first second beyond them
  std::int64_t latest = 0;                    ///< greatest `to` up to here; to find a time quickly
  std::int64_t earliest = 0;                  ///< least `from` from here on
  std::array<std::int64_t, sfpCount> last{};  ///< second of the last record before, by SFP
};

struct ReadOptions {
  std::int64_t from = INT64_MIN;  ///< stamps before are left out
  std::int64_t to = INT64_MAX;    ///< and from here on
  std::uint64_t place = 0;        ///< byte of the raw data at which reading begins
  /// Told how many of the raw data's bytes have been read, every few megabytes; may be empty.
  void (*progress)(std::uint64_t read, std::uint64_t size) = nullptr;
};

/// What is known of a run's files after one pass. Memory is bounded, whatever the files' size.
struct Recording {
  std::string rawDataFile;  ///< as the operating system opens it
  bool rawDataPresent = false;
  std::uint64_t rawDataBytes = 0;
  std::uint64_t rawDataLost = 0;  ///< of these, bytes at the end that could not be read

  std::int64_t first = 0;         ///< first second with a record; 0 without records
  std::int64_t end = 0;           ///< first second behind the last record
  std::int64_t base = 0;          ///< the full hour (UTC) at or before `first`
  std::int64_t bucketWidth = 60;  ///< seconds; a multiple of 60 that divides or is a multiple of 3600
  std::array<SfpRecording, sfpCount> sfp;
  std::vector<DifferenceBucket> differences;  ///< as `SfpRecording::buckets`
  DifferenceBucket difference;                ///< of the whole
  std::vector<Master> masters;                ///< [0] is no master
  std::uint64_t mastersDropped = 0;           ///< masters that another one stands for, as too many were known

  std::vector<Stretch> gaps;  ///< seconds without a record of either SFP, at most `listLimit`
  std::uint64_t gapCount = 0;
  std::uint64_t gapSeconds = 0;
  std::vector<Stretch> pauses;      ///< between two runs, at most `listLimit`; they are no gaps
  std::int64_t secondsLeftOut = 0;  ///< of [first, end): pauses, and what the recorder's clock leapt over
  std::vector<ClockStep> clockSteps;
  std::vector<RecorderRun> runs;
  /// Did records come with fewer stamps than seconds, so that their seconds were counted out? Batches of
  /// several do so, and a clock that is held.
  bool batched = false;

  std::uint64_t units = 0;           ///< whole units, strange ones included
  std::uint64_t otherSfp = 0;        ///< units of an SFP index other than 0 and 1
  std::uint64_t wildStamps = 0;      ///< units left out for a time stamp far from their neighbours'
  std::uint64_t implausible = 0;     ///< units left out whose contents no card delivers
  std::uint64_t doubledSeconds = 0;  ///< records whose second had one of the same SFP already
  std::uint64_t damagedPlaces = 0;
  std::uint64_t damagedBytes = 0;
  std::uint64_t tornBytes = 0;     ///< behind the last whole unit
  std::vector<Damage> damage;      ///< at most `listLimit`
  std::uint64_t outsideRange = 0;  ///< units before or behind what was asked for

  std::int32_t syncRate = 0;  ///< a second, the interval that most records tell; 0 unknown
  std::int32_t respRate = 0;

  EventLog eventLog;
  PeriodLines periodLines;
  TimeZone zone;

  ReadOptions options;  ///< with which it was read
  std::vector<Checkpoint> checkpoints;
  std::vector<std::string> unreadable;  ///< names of files that are there and could not be read

  static constexpr std::size_t listLimit = 10'000;

  /// Of both SFPs, those that count.
  std::uint64_t Records() const { return sfp[0].records + sfp[1].records; }
  /// Does a time lie within the range that was asked for?
  bool IsWanted(std::int64_t time) const { return time >= options.from && time < options.to; }
};

struct UnitSums;

/// Sees every record, added up with others of its SFP, while the raw data is read, in the thread that called
/// for it.
class UnitObserver {
 public:
  virtual ~UnitObserver() = default;
  /// The stretch of stamps around this one in which units of the SFP may be told together; empty when the
  /// next unit, which has this stamp, is to be told by itself.
  virtual Stretch Together(int sfp, std::int64_t stamp) const = 0;
  /// Whole units of SFP 0 or 1 with sound stamps, in the order of the file.
  virtual void OnUnits(int sfp, const UnitSums& sums) = 0;
};

/// Sees the second of every record, in a thread of its own that lags behind the reading one.
class SecondObserver {
 public:
  virtual ~SecondObserver() = default;
  /// A record in the second that was found for it, SFP by SFP in rising order except where the clock was set
  /// back; a second may come twice. `master` is an index into `Recording::masters`.
  virtual void OnSecond(int sfp, const Bucket& second, std::int32_t state, std::int32_t master) = 0;
};

struct Observers {
  std::vector<UnitObserver*> units;
  std::vector<SecondObserver*> seconds;
};

/// The names of a run's three files, as the operating system opens them.
struct FileNames {
  std::string rawData;
  std::string eventLog;
  std::string periodLines;
};

/// Reads all three files, any of which may be missing. First the two texts, then one pass through the raw
/// data, which `observers` see; by then `eventLog`, `periodLines` and `zone` of `recording` are filled, so
/// that observers may look at them, and those of seconds at `masters` too. What a growing file gains
/// meanwhile isn't read.
void ReadRecording(const FileNames& names, const ReadOptions& options, const Observers& observers,
                   Recording& recording);

/// The time of the last record of a raw data file, as far as its end can be trusted; nothing without one.
std::optional<std::int64_t> LastTime(const std::string& rawDataFile);

/// Single seconds on demand.
struct Seconds {
  std::array<std::vector<Bucket>, sfpCount> sfp;  ///< rising, only those with records
  std::vector<DifferenceBucket> differences;
};

/// Reads parts of the raw data once more. One for each thread.
class SecondsReader {
 public:
  /// The recording is complete, and outlives this.
  explicit SecondsReader(const Recording& recording);
  /// The seconds of [from, to); the buckets are a second wide and add up to the recording's. None when the
  /// file can't be read any more.
  void Read(std::int64_t from, std::int64_t to, Seconds& seconds);
  Seconds Read(std::int64_t from, std::int64_t to) {
    Seconds seconds;
    Read(from, to, seconds);
    return seconds;
  }

 private:
  void ReadFrom(const Checkpoint& checkpoint, std::uint64_t end, const Stretch& wanted, Seconds& seconds);

  const Recording& recording_;
  MasterFinder masters_;
  InputFile file_;
  bool open_;
};

}  // namespace kestrune::report
