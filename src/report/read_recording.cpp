#include <algorithm>

#include "platform/input_file.h"
#include "report/bucket_series.h"
#include "report/raw_data_pass.h"
#include "report/record_walk.h"
#include "report/recording.h"
#include "report/seconds_thread.h"
#include "report/seconds_walk.h"
#include "report/unit_reader.h"
#include "report/unit_sums.h"
#include "report/unit_totals.h"

namespace kestrune::report {
namespace {

constexpr std::uint64_t progressBytes = 16 << 20;
constexpr std::uint64_t unitsBehind = 16;

void AddDamage(UnitReader& reader, std::int64_t time, Recording& recording) {
  for (const SkippedBytes& skipped : reader.TakeSkipped()) {
    auto& damage = recording.damage;
    recording.damagedBytes += skipped.bytes;
    const bool more = !damage.empty() && damage.back().at + damage.back().bytes == skipped.at;
    if (more) {
      damage.back().bytes += skipped.bytes;
      continue;
    }
    ++recording.damagedPlaces;
    if (damage.size() < Recording::listLimit) damage.push_back({skipped.at, skipped.bytes, time});
  }
}

std::uint64_t CountOtherSfps(std::span<const RawDataUnit> units) {
  return static_cast<std::uint64_t>(
      std::ranges::count_if(units, [](const RawDataUnit& unit) { return unit.record.sfp >= sfpCount; }));
}

/// What the walk through the raw data finds: units are looked at here and now, their records go on to a
/// thread that looks at seconds.
class WholeWalk : public RecordWalk::Listener {
 public:
  WholeWalk(Recording& recording, const Observers& observers)
      : totals_(recording),
        feed_(With(observers.units, totals_)),
        pass_(recording, observers.seconds),
        thread_(pass_, recording.options.from) {}

  std::int32_t OnMaster(const Master& master) override {
    const std::size_t known = totals_.Masters().size();
    const std::int32_t number = totals_.NumberOf(master);
    if (totals_.Masters().size() > known) thread_.AddMaster(master);
    return number;
  }
  TimedRecord& Slot(int /*sfp*/) override { return thread_.Slot(); }
  void OnRecord(const RawDataUnit& unit, const CounterSteps& steps) override {
    feed_.Add(unit);
    totals_.OnUnit(unit, steps, thread_.Slot().place);
    thread_.AddRecord(unit.record.sfp);
  }

  /// Behind the last unit.
  void Finish() {
    thread_.Finish();
    feed_.Finish();
    totals_.Finish();
    pass_.Finish();
  }

 private:
  static std::vector<UnitObserver*> With(std::vector<UnitObserver*> observers, UnitObserver& another) {
    observers.push_back(&another);
    return observers;
  }

  UnitTotals totals_;
  UnitFeed feed_;
  RawDataPass pass_;
  SecondsThread thread_;
};

void ReadRawData(const ReadOptions& options, const Observers& observers, Recording& recording) {
  InputFile file;
  if (!file.Open(recording.rawDataFile)) return;
  recording.rawDataPresent = true;
  recording.rawDataBytes = static_cast<std::uint64_t>(std::max<std::int64_t>(file.Size(), 0));
  WholeWalk whole(recording, observers);
  RecordWalk walk(whole, options.from, options.to);
  UnitReader reader(file, options.place, recording.rawDataBytes);
  std::uint64_t told = 0;
  std::int64_t time = 0;
  for (auto units = reader.Next(); !units.empty(); units = reader.Next()) {
    AddDamage(reader, time, recording);
    time = units.back().epochTime;
    recording.units += units.size();
    recording.otherSfp += CountOtherSfps(units);
    walk.Take(units, reader.Place());
    if (options.progress != nullptr && reader.Place() >= told + progressBytes) {
      told = reader.Place();
      options.progress(told, recording.rawDataBytes);
    }
  }
  AddDamage(reader, time, recording);
  recording.tornBytes = reader.TornBytes();
  recording.rawDataLost = recording.rawDataBytes - reader.End();
  walk.Finish();
  whole.Finish();
  recording.wildStamps = walk.WildStamps();
  recording.implausible = walk.Implausible();
  recording.outsideRange = walk.OutsideRange();
  if (options.progress != nullptr) options.progress(recording.rawDataBytes, recording.rawDataBytes);
}

/// Collects seconds within a range.
class SecondCollector : public RecordWalk::Listener, public SecondsWalk::Listener {
 public:
  SecondCollector(const Recording& recording, MasterFinder& masters, std::int64_t from, std::int64_t to,
                  Seconds& seconds)
      : recording_(recording),
        masters_(masters),
        from_(from),
        to_(to),
        seconds_(seconds),
        links_(recording.eventLog) {}

  void Restart(const Checkpoint& checkpoint) { walk_.Restart(checkpoint); }
  /// Behind the last record.
  void Finish() { walk_.Finish(); }

  std::int32_t OnMaster(const Master& master) override { return masters_.Find(master); }
  TimedRecord& Slot(int sfp) override { return walk_.Slot(sfp); }
  void OnRecord(const RawDataUnit& unit, const CounterSteps& /*steps*/) override {
    walk_.Commit(unit.record.sfp);
  }

  void OnSecond(int sfp, TimedRecord& record) override {
    const auto master = static_cast<std::size_t>(std::max(record.master, 0));
    links_.SettleDue(sfp, recording_.masters[master], record);
    const Bucket& second = record.second;
    DifferenceBucket difference;
    const bool isPair = pairs_.Add(sfp, second, recording_.masters[master].grandmaster, difference);
    if (second.start < from_ || second.start >= to_) return;
    seconds_.sfp[static_cast<std::size_t>(sfp)].push_back(second);
    if (isPair) seconds_.differences.push_back(difference);
  }

 private:
  const Recording& recording_;
  MasterFinder& masters_;
  std::int64_t from_;
  std::int64_t to_;
  Seconds& seconds_;
  LoggedLinks links_;
  DifferencePairs pairs_;
  SecondsWalk walk_{*this, recording_.options.from};
};

}  // namespace

void ReadRecording(const FileNames& names, const ReadOptions& options, const Observers& observers,
                   Recording& recording) {
  recording.eventLog = ReadEventLog(names.eventLog, recording.zone);
  recording.periodLines = ReadPeriodLines(names.periodLines, recording.zone);
  recording.rawDataFile = names.rawData;
  recording.options = options;
  ReadRawData(options, observers, recording);
}

std::optional<std::int64_t> LastTime(const std::string& rawDataFile) {
  InputFile file;
  if (!file.Open(rawDataFile)) return std::nullopt;
  const auto size = static_cast<std::uint64_t>(std::max<std::int64_t>(file.Size(), 0));
  std::vector<std::int64_t> times;
  // Behind a crash the end may be anything.
  for (std::uint64_t tail = 256 * sizeof(RawDataUnit); times.empty(); tail *= 16) {
    UnitReader reader(file, size > tail ? (size - tail) / sizeof(RawDataUnit) * sizeof(RawDataUnit) : 0,
                      size);
    for (auto units = reader.Next(); !units.empty(); units = reader.Next()) {
      for (const RawDataUnit& unit : units) times.push_back(unit.epochTime);
    }
    if (tail >= size) break;
  }
  if (times.empty()) return std::nullopt;
  // A wild stamp or two don't move the median.
  std::ranges::sort(times);
  constexpr std::int64_t close = 60;
  auto last = times.size() / 2;
  while (last + 1 < times.size() && times[last + 1] <= times[last] + close) ++last;
  return times[last];
}

SecondsReader::SecondsReader(const Recording& recording)
    : recording_(recording), masters_(recording.masters) {
  open_ = file_.Open(recording.rawDataFile);
}

void SecondsReader::Read(std::int64_t from, std::int64_t to, Seconds& seconds) {
  for (auto& buckets : seconds.sfp) buckets.clear();
  seconds.differences.clear();
  if (!open_) return;
  const auto& all = recording_.checkpoints;
  const auto overlaps = [&](const Checkpoint& c) { return c.from < to && c.to > from; };
  const auto first = std::ranges::partition_point(all, [&](const Checkpoint& c) { return c.latest <= from; });
  const auto last = std::ranges::partition_point(all, [&](const Checkpoint& c) { return c.earliest < to; });
  const auto end = static_cast<std::size_t>(last - all.begin());
  for (auto i = static_cast<std::size_t>(first - all.begin()); i < end;) {
    if (!overlaps(all[i])) {
      ++i;
      continue;
    }
    std::size_t behind = i;
    while (behind < end && overlaps(all[behind])) ++behind;
    const bool isLast = behind == all.size();
    ReadFrom(all[i], isLast ? recording_.rawDataBytes : all[behind].place, {from, to}, seconds);
    i = behind;
  }
  for (auto& buckets : seconds.sfp) MergeBuckets(buckets, 1);
  MergeBuckets(seconds.differences, 1);
}

void SecondsReader::ReadFrom(const Checkpoint& checkpoint, std::uint64_t end, const Stretch& wanted,
                             Seconds& seconds) {
  SecondCollector collector(recording_, masters_, wanted.from, wanted.to, seconds);
  RecordWalk walk(collector, recording_.options.from, recording_.options.to);
  walk.Restart(checkpoint);
  collector.Restart(checkpoint);
  walk.StopAt(end);
  // What is a unit depends on those behind it.
  const std::uint64_t behind = std::min(end + unitsBehind * sizeof(RawDataUnit), recording_.rawDataBytes);
  const auto take = [&](UnitReader&& reader) {
    for (auto units = reader.Next(); !units.empty() && !walk.HasStopped(); units = reader.Next())
      walk.Take(units, reader.Place());
  };
  // Apart, so that what lies before the checkpoint doesn't change what is a unit behind it.
  take(UnitReader(file_, RecordWalk::BeginFor(checkpoint), checkpoint.place));
  take(UnitReader(file_, checkpoint.place, behind, checkpoint.stamp));
  walk.Finish();
  collector.Finish();
}

}  // namespace kestrune::report
