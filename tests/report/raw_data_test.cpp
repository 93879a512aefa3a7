#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <filesystem>

#include "report/judge.h"
#include "report/masters.h"
#include "report/raw_data_pass.h"
#include "report/raw_units.h"
#include "report/recording.h"
#include "report/retimer.h"

namespace kestrune::report {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr std::int64_t begin = 1'772'434'800;  // a full hour

Recording ReadBytes(const std::string& bytes, const ReadOptions& options = {}) {
  const RunFiles files;
  files.WriteRawData(bytes);
  return files.Read(options);
}

Recording ReadUnits(const std::vector<RawDataUnit>& units) { return ReadBytes(BytesOf(units)); }

std::uint64_t Records(const Recording& recording) {
  return recording.sfp[0].records + recording.sfp[1].records;
}

TEST(RawData, DamageIsSkippedAndCounted) {
  const std::string before = BytesOf(MakeUnits(begin, begin + 400));
  const std::string after = BytesOf(MakeUnits(begin + 402, begin + 802));
  const std::string unit = BytesOf(MakeUnits(begin + 400, begin + 401)).substr(0, 1024);
  std::string noise;
  for (std::uint32_t i = 0, state = 1; i < 700'000; ++i)
    noise += static_cast<char>((state = state * 1664525 + 1013904223) >> 24);
  for (const std::string& damage :
       {unit.substr(0, 1), unit.substr(0, 8), unit.substr(0, 500), unit.substr(0, 1023), unit.substr(3),
        noise, std::string(1'000'000, '\0'), std::string(5000, '\xff')}) {
    const Recording recording = ReadBytes(before + damage + after);
    EXPECT_EQ(Records(recording), 1600) << damage.size();
    EXPECT_EQ(recording.damagedPlaces, 1) << damage.size();
    EXPECT_EQ(recording.damagedBytes, damage.size());
    EXPECT_EQ(recording.end, begin + 802);
  }
  const Recording torn = ReadBytes(before + unit.substr(0, 1000));
  EXPECT_EQ(torn.tornBytes, 1000);
  EXPECT_EQ(torn.damagedPlaces, 0);
  EXPECT_EQ(Records(torn), 800);
}

TEST(RawData, ATornUnitIsFoundWhereverItEnds) {
  const std::string before = BytesOf(MakeUnits(begin, begin + 20));
  const std::string after = BytesOf(MakeUnits(begin + 21, begin + 41));
  const std::string unit = BytesOf(MakeUnits(begin + 20, begin + 21)).substr(0, 1024);
  for (std::size_t length = 1; length < 1024; length += 7) {
    const Recording recording = ReadBytes(before + unit.substr(0, length) + after);
    EXPECT_EQ(Records(recording), 80) << length;
    EXPECT_EQ(recording.damagedBytes, length);
  }
}

TEST(RawData, WildStampsNeverStretchTheTime) {
  auto units = MakeUnits(begin, begin + 300);
  units[100].epochTime = begin + 400'000'000;
  units[101].epochTime = 946'684'800;
  for (std::size_t i = 300; i < 320; ++i) units[i].epochTime += 86'400;
  units.back().epochTime = 4'000'000'000;
  units.front().epochTime = 1'000'000'000;
  const Recording recording = ReadUnits(units);
  EXPECT_EQ(recording.wildStamps, 24);
  EXPECT_EQ(recording.first, begin);
  EXPECT_EQ(recording.end, begin + 300);
  EXPECT_EQ(recording.base, begin);

  // A single one within the hour, first, in the middle and last.
  for (const std::size_t at : {std::size_t{0}, std::size_t{300}, std::size_t{599}}) {
    for (const std::int64_t by : {-3000, 61, 1000, 3599}) {
      auto one = MakeUnits(begin, begin + 300);
      one[at].epochTime += by;
      const Recording found = ReadUnits(one);
      EXPECT_EQ(found.wildStamps, 1) << at << " " << by;
      EXPECT_EQ(found.end, begin + 300);
      EXPECT_EQ(found.gapCount, 0);
    }
  }
}

TEST(RawData, WhatOnlyLooksLikeAUnitIsNone) {
  const std::string sound = BytesOf(MakeUnits(begin, begin + 100));
  // A block that was lost at power-down.
  const Recording zeros = ReadBytes(std::string(8192, '\0') + sound);
  EXPECT_EQ(zeros.damagedBytes, 8192);
  EXPECT_EQ(zeros.first, begin);
  // The first byte of a unit is lost: the unit before stays, none is made of its last byte.
  std::string shorter = sound;
  shorter.erase(100 * sizeof(RawDataUnit), 1);
  const Recording lost = ReadBytes(shorter);
  EXPECT_EQ(lost.damagedBytes, 1023);
  EXPECT_EQ(Records(lost), 199);
  EXPECT_TRUE(lost.clockSteps.empty());
  // Contents that no card delivers behind sound stamps: overwritten, or of two torn units.
  auto strange = MakeUnits(begin, begin + 100);
  strange[20].record.logSyncInterval = INT32_MAX;
  strange[21].record.bestMasterLastPtpAnnouncePacket.grandmasterClockClass = 1'178'679'462;
  strange[22].record.performanceMonitoring.offsetFromMaster.sum.nanoseconds = INT32_MAX;
  std::string bytes = BytesOf(strange);
  bytes.erase(61 * sizeof(RawDataUnit) + 324, 700);
  bytes.erase(60 * sizeof(RawDataUnit) + 700, 324);
  const Recording recording = ReadBytes(bytes);
  EXPECT_EQ(recording.implausible, 4);
  EXPECT_EQ(Records(recording), 195);
}

TEST(RawData, SecondsReadOnceMoreAreThoseOfTheFirstTime) {
  // Ten seconds of an earlier time stand in front of the fourth checkpoint.
  auto units = MakeUnits(begin, begin + 400);
  for (std::size_t i = 384; i < 404; ++i) units[i].epochTime -= 100;
  const RunFiles files;
  files.WriteRawData(BytesOf(units));
  const Recording recording = files.Read();
  EXPECT_EQ(recording.wildStamps, 20);
  for (std::int64_t length = 10; length < 400; length += 10) {
    const Seconds seconds = SecondsReader(recording).Read(begin, begin + length);
    for (const std::vector<Bucket>& sfp : seconds.sfp) {
      std::int64_t records = 0;
      for (const Bucket& second : sfp) records += second.records;
      EXPECT_EQ(records, length - std::clamp(length - 192, std::int64_t{0}, std::int64_t{10})) << length;
    }
  }
}

TEST(RawData, SecondsGoBackWithTheClock) {
  Retimer retimer;
  std::vector<std::int64_t> seconds;
  const auto emit = [&](const TimedRecord& record) { seconds.push_back(record.second.start); };
  const auto commit = [&](std::initializer_list<std::int64_t> stamps) {
    for (const std::int64_t stamp : stamps) retimer.Commit(stamp, emit);
  };
  commit({100, 101, 102});
  retimer.Flush(emit);
  commit({60, 61, 62, 20, 21});
  retimer.Flush(emit);
  EXPECT_THAT(seconds, ElementsAre(100, 101, 102, 60, 61, 62, 20, 21));
}

TEST(RawData, LongerStretchesOfAnotherTimeAreBelieved) {
  // A day's pause: the card's counters go on with the time.
  auto units = MakeUnits(begin, begin + 100);
  const auto later = MakeUnits(begin + 86'400, begin + 86'500);
  units.insert(units.end(), later.begin(), later.end());
  const Recording pause = ReadUnits(units);
  EXPECT_EQ(pause.end, begin + 86'500);
  EXPECT_EQ(pause.gapSeconds, 86'300);
  EXPECT_TRUE(pause.clockSteps.empty());

  // The clock is set ahead by two hours, then back by three: the counters tell it from a pause.
  units = MakeUnits(begin, begin + 300);
  for (std::size_t i = 200; i < units.size(); ++i) units[i].epochTime += i < 400 ? 7200 : -3600;
  const Recording steps = ReadUnits(units);
  ASSERT_EQ(steps.clockSteps.size(), 2);
  EXPECT_NEAR(static_cast<double>(steps.clockSteps[0].by), 7200, 2);
  EXPECT_NEAR(static_cast<double>(steps.clockSteps[1].by), -10'800, 2);
  EXPECT_EQ(Records(steps), 600);
  EXPECT_EQ(steps.wildStamps, 0);
  EXPECT_EQ(steps.gapSeconds, 0) << "nothing is missing";
  EXPECT_NEAR(static_cast<double>(steps.secondsLeftOut), 7200, 2);
}

TEST(RawData, OnlyWhatARunLacksIsMissing) {
  // An SFP's module is pulled: its counter stands, and the clock has nothing to do with it.
  auto units = MakeUnits(begin, begin + 300);
  std::erase_if(units, [](const RawDataUnit& unit) {
    return unit.record.sfp == 1 && unit.epochTime >= begin + 100 && unit.epochTime < begin + 160;
  });
  for (RawDataUnit& unit : units) {
    if (unit.record.sfp == 1 && unit.epochTime >= begin + 160) unit.record.linkPacketsReceived -= 60'000;
  }
  const Recording pulled = ReadUnits(units);
  EXPECT_TRUE(pulled.clockSteps.empty());
  EXPECT_EQ(pulled.gapSeconds, 0);

  // Two runs: the first ends 20 s after its last record, the second begins two hours later.
  units = MakeUnits(begin, begin + 100);
  const auto second = MakeUnits(begin + 7320, begin + 7420);
  units.insert(units.end(), second.begin(), second.end());
  const RunFiles files;
  files.WriteRawData(BytesOf(units));
  std::ofstream log(files.Names().eventLog);
  const auto document = [&](std::int64_t time, const char* type) {
    log << "{\n\"Time\": \"\",\n\"Epoch time\": " << time << ",\n\"Event log type\": \"" << type << "\"\n}\n";
  };
  document(begin, "start of monitoring");
  document(begin + 120, "end of monitoring");
  document(begin + 7318, "start of monitoring");
  log.close();
  const Recording runs = files.Read();
  ASSERT_EQ(runs.gaps.size(), 1);
  EXPECT_EQ(runs.gapSeconds, 20);
  EXPECT_EQ(runs.gaps[0].from, begin + 100);
  EXPECT_EQ(runs.secondsLeftOut, 7200);
  ASSERT_EQ(runs.pauses.size(), 1);
}

TEST(RawData, BatchesArePutIntoTheirSeconds) {
  // Two fetches were late, one stamp came twice for one that is missing, all within what a batch allows.
  auto units = MakeUnits(begin, begin + 200);
  const auto stamp = [&](std::int64_t second, std::int64_t stamped) {
    units[static_cast<std::size_t>(second) * 2].epochTime = begin + stamped;
    units[static_cast<std::size_t>(second) * 2 + 1].epochTime = begin + stamped;
  };
  for (std::int64_t second = 50; second < 57; ++second) stamp(second, 57);
  stamp(100, 101);
  stamp(120, 119);
  stamp(150, 151);
  const Recording recording = ReadUnits(units);
  EXPECT_EQ(recording.gapCount, 0);
  EXPECT_EQ(recording.doubledSeconds, 0);
  EXPECT_EQ(recording.end - recording.first, 200);

  // Four records a stamp are nothing to blame the clock for.
  auto batches = MakeUnits(begin, begin + 200);
  for (RawDataUnit& unit : batches) unit.epochTime |= 3;
  const auto notes = RecordingNotes(ReadUnits(batches));
  EXPECT_THAT(notes, ElementsAre(HasSubstr("one time stamp")));
  EXPECT_THAT(notes, Not(Contains(HasSubstr("clock"))));

  // What is missing for good shows, give or take a second.
  units.erase(units.begin() + 80, units.begin() + 100);
  const Recording missing = ReadUnits(units);
  EXPECT_EQ(missing.gapCount, 1);
  EXPECT_NEAR(static_cast<double>(missing.gapSeconds), 10, 1);
}

TEST(RawData, BucketsAreTheMergeOfTheirSeconds) {
  std::vector<RawDataUnit> units;
  for (std::int64_t second = -10; second < 5000; ++second) {
    if (second > 1000 && second < 1130) continue;
    for (const int sfp : {0, 1}) {
      if (sfp == 1 && second >= 3000 && second < 3200) continue;
      const auto average = static_cast<std::int32_t>((second * 7919 + sfp * 31) % 977 - 400);
      units.push_back(MakeUnit(begin + second, sfp, average, second % 700 < 30 ? 9 : 10));
    }
  }
  // Neither counts, as one contradicts the other.
  const std::vector strays = {MakeUnit(begin - 1, 0), MakeUnit(begin + 1'000'000, 1)};
  units.insert(units.begin() + 20, strays.begin(), strays.end());
  units[20].epochTime = begin;
  const RunFiles files;
  files.WriteRawData(BytesOf(units));
  const Recording recording = files.Read({begin});
  const Seconds seconds = SecondsReader(recording).Read(recording.first, recording.end);
  for (std::size_t k = 0; k < sfpCount; ++k) {
    ASSERT_EQ(seconds.sfp[k].size(), k == 0 ? 4871 : 4671);
    std::size_t next = 0;
    Stat locked;
    for (const Bucket& bucket : recording.sfp[k].buckets) {
      Bucket merged;
      merged.start = bucket.start;
      for (; next < seconds.sfp[k].size() && seconds.sfp[k][next].start < bucket.start + 60; ++next) {
        merged.Merge(seconds.sfp[k][next]);
        if (seconds.sfp[k][next].locked > 0) locked.Merge(seconds.sfp[k][next].offset);
      }
      EXPECT_EQ(std::tie(merged.records, merged.locked, merged.syncs, merged.resps, merged.followUps,
                         merged.offset.least, merged.offset.greatest),
                std::tie(bucket.records, bucket.locked, bucket.syncs, bucket.resps, bucket.followUps,
                         bucket.offset.least, bucket.offset.greatest));
      EXPECT_NEAR(merged.offset.mean, bucket.offset.mean, 1e-6);
      EXPECT_NEAR(merged.offset.StandardDeviation(), bucket.offset.StandardDeviation(), 1e-6);
      EXPECT_EQ(merged.worstSecondAt, bucket.worstSecondAt);
    }
    EXPECT_EQ(next, seconds.sfp[k].size());
    EXPECT_EQ(recording.sfp[k].locked[offset].count, locked.count);
    EXPECT_EQ(recording.sfp[k].offsetLocked.least, locked.least);
    EXPECT_EQ(recording.sfp[k].secondOffset.Count(), static_cast<std::uint64_t>(locked.count) / 8);
  }
  // What the card counted before the range and in two holes is of no second, nor is an Announce due for it.
  EXPECT_EQ(recording.sfp[1].messages.followUps, (4671 - 3) * 8);
  EXPECT_EQ(recording.sfp[1].messages.announcesDue, 4671 - 3);
  EXPECT_EQ(recording.difference.all.count, 4671);
  // Part of it, from the middle of the file.
  const Seconds part = SecondsReader(recording).Read(begin + 2500, begin + 2600);
  ASSERT_EQ(part.sfp[1].size(), 100);
  EXPECT_EQ(part.sfp[1].front().start, begin + 2500);
  EXPECT_EQ(part.differences.size(), 100);
}

TEST(RawData, MessagesAreDueAtLongIntervalsToo) {
  auto units = MakeUnits(begin, begin + 200);
  for (RawDataUnit& unit : units) {
    unit.record.logMinDelayReqInterval = 2;
    unit.record.logSyncInterval = 1;
    if (unit.epochTime >= begin + 100) unit.record.state = 4;  // listening: nothing is due
  }
  const Recording recording = ReadUnits(units);
  EXPECT_EQ(recording.sfp[0].messages.respsDue, 25);
  EXPECT_EQ(recording.sfp[1].messages.syncsDue, 50);
  // Who only listens gets no answers.
  for (RawDataUnit& unit : units) {
    unit.record.delayReqMessagesSent = 0;
    unit.record.performanceMonitoring.numberOfDelayRespSinceLastTelemetry = 0;
    if (unit.epochTime < begin + 50) unit.record.logMinDelayReqInterval = -3;
  }
  EXPECT_EQ(ReadUnits(units).sfp[0].messages.respsDue, 0);
}

TEST(RawData, CheckpointsStayFewInALongRecording) {
  constexpr std::int64_t length = 100'000;
  Recording recording;
  const std::vector<SecondObserver*> nobody;
  RawDataPass pass(recording, nobody);
  for (std::int64_t i = 0; i < length; ++i) {
    Checkpoint checkpoint;
    checkpoint.place = static_cast<std::uint64_t>(i);
    pass.OnCheckpoint(checkpoint);
    TimedRecord record;
    record.second.start = begin + i;
    record.second.records = 1;
    pass.OnSecond(0, record);
  }
  pass.Finish();
  EXPECT_LE(recording.checkpoints.size(), 65'536);
  std::int64_t next = begin;
  for (const Checkpoint& checkpoint : recording.checkpoints) {
    EXPECT_EQ(checkpoint.from, next);
    EXPECT_EQ(checkpoint.place, static_cast<std::uint64_t>(next - begin));
    next = checkpoint.to;
  }
  EXPECT_EQ(next, begin + length);
}

TEST(RawData, OffsetsOfTaiStayExact) {
  // 37 s: sums of squares would lose the nanoseconds.
  std::vector<RawDataUnit> units;
  for (std::int64_t second = 0; second < 600; ++second) {
    RawDataUnit unit = MakeUnit(begin + second, 0);
    const std::int32_t nanoseconds = second % 2 == 0 ? 0 : 100;
    unit.record.performanceMonitoring.offsetFromMaster = {
        {296, 8 * nanoseconds}, {37, nanoseconds}, {37, nanoseconds}, {0, 0}};
    units.push_back(unit);
  }
  const Recording recording = ReadUnits(units);
  const Stat& stat = recording.sfp[0].all[offset];
  EXPECT_NEAR(stat.mean - 37e9, 50, 0.01);
  EXPECT_NEAR(stat.StandardDeviation(), 50, 0.5);
  EXPECT_EQ(stat.greatest, 37'000'000'100);
}

TEST(RawData, ChangesOfTheMasterAreRuns) {
  auto units = MakeUnits(begin, begin + 100);
  for (std::size_t i = 100; i < units.size(); ++i) {
    units[i].record.bestMasterLastPtpAnnouncePacket.grandmasterClockClass = i < 140 ? 7 : 6;
    if (i >= 180) units[i].record.currentUtcOffset = 1;
    units[i].record.bestMasterLastPtpAnnouncePacket.originTimestampSeconds =
        i;  // tells nothing of the master
  }
  const Recording recording = ReadUnits(units);
  std::vector<std::pair<std::int64_t, std::int32_t>> runs;
  for (const report::Run& run : recording.sfp[0].master.All()) runs.emplace_back(run.from - begin, run.value);
  EXPECT_THAT(runs, ElementsAre(std::pair(0, 1), std::pair(50, 2), std::pair(70, 1), std::pair(90, 3),
                                std::pair(100, 0)));
  EXPECT_EQ(recording.masters[2].clockClass, 7);
  EXPECT_EQ(recording.masters[3].timeUtcOffset, 1);
}

TEST(RawData, EachOfThousandsOfMastersIsFound) {
  std::vector<Master> masters(1);
  MasterFinder finder(masters);
  Master master;
  const auto join = [&](std::uint64_t grandmaster, std::uint32_t variance) {
    master.grandmaster = grandmaster;
    master.variance = variance;
    return JoinMasters(masters, finder, master);
  };
  // 64 variances of each grandmaster; then there are so many that another one makes no master.
  for (int round = 0; round < 2; ++round) {
    for (std::uint32_t i = 0; i < 4095; ++i) ASSERT_EQ(join(1 + i / 64, i % 64), static_cast<int>(i + 1));
  }
  EXPECT_EQ(join(5, 64), 5 * 64);
  for (int i = 4096; i < static_cast<int>(mostMasters); ++i)
    ASSERT_EQ(join(static_cast<std::uint64_t>(i), 0), i);
  EXPECT_EQ(join(1, 3), 4);
  EXPECT_EQ(join(1'000'000, 0), static_cast<int>(mostMasters) - 1);
  EXPECT_EQ(join(0, 3), 0);
}

TEST(RawData, WhatIsJudgedOutlivesManyMasters) {
  // A variance that changes all the time, and at the end another class.
  auto units = MakeUnits(begin, begin + 5000);
  for (std::size_t i = 0; i < units.size(); ++i) {
    PtpAnnounceInfo& announce = units[i].record.bestMasterLastPtpAnnouncePacket;
    announce.grandmasterOffsetScaledLogVariance = static_cast<std::uint32_t>(i / 2);
    if (i >= 9600) announce.grandmasterClockClass = 248;
  }
  const RunFiles files;
  files.WriteRawData(BytesOf(units));
  const Recording recording = files.Read();
  EXPECT_EQ(recording.masters.size(), 4097);
  for (const std::int64_t time : {begin + 4799, begin + 4800, begin + 4999}) {
    const auto master = static_cast<std::size_t>(recording.sfp[1].master.At(time));
    EXPECT_EQ(recording.masters[master].clockClass, time < begin + 4800 ? 6 : 248);
  }
  EXPECT_EQ(SecondsReader(recording).Read(begin + 4500, begin + 5000).differences.size(), 500);
}

/// How far one SFP's seconds were behind the other's.
class Lag : public SecondObserver {
 public:
  void OnSecond(int sfp, const Bucket& second, std::int32_t /*state*/, std::int32_t /*master*/) override {
    newest_[static_cast<std::size_t>(sfp)] = second.start;
    most = std::max(most, newest_[static_cast<std::size_t>(1 - sfp)] - second.start);
  }
  std::int64_t most = 0;

 private:
  std::array<std::int64_t, sfpCount> newest_{};
};

TEST(RawData, SecondsOfAnSfpWithHolesDontComeLate) {
  std::vector<RawDataUnit> units;
  for (std::int64_t i = 0; i < 2000; ++i) {
    units.push_back(MakeUnit(begin + i, 0));
    if (i < 1000 && i % 5 == 0) units.push_back(MakeUnit(begin + i, 1));
  }
  const RunFiles files;
  files.WriteRawData(BytesOf(units));
  Lag lag;
  files.Read({}, {{}, {&lag}});
  EXPECT_LE(lag.most, 100);
}

TEST(RawData, TellsWhatWasCutOffWhileItRead) {
  static std::string name;
  constexpr std::uint64_t left = 10'000 * sizeof(RawDataUnit) * 17 / 10 + 100;
  const RunFiles files;
  name = files.Names().rawData;
  const std::string bytes = BytesOf(MakeUnits(begin, begin + 10'000));
  files.WriteRawData(bytes);
  ReadOptions options;
  options.progress = [](std::uint64_t, std::uint64_t) {
    if (std::filesystem::file_size(name) > left) std::filesystem::resize_file(name, left);
  };
  const Recording recording = files.Read(options);
  EXPECT_EQ(recording.rawDataLost, bytes.size() - left);
  EXPECT_EQ(recording.units, 17'000);
  EXPECT_THAT(RecordingNotes(recording), Contains(HasSubstr("could not be read")));
}

TEST(RawData, ARangeLeavesOutTheRest) {
  ReadOptions options;
  options.from = begin + 10;
  options.to = begin + 60;
  auto wanted = MakeUnits(begin, begin + 100);
  for (std::size_t i = 10; i < 20; ++i) wanted[i].epochTime = begin + 10;  // a batch that reaches back
  const Recording recording = ReadBytes(BytesOf(wanted), options);
  EXPECT_EQ(recording.first, begin + 10);
  EXPECT_EQ(recording.end, begin + 60);
  EXPECT_EQ(recording.outsideRange, 90);
  const RunFiles files;
  EXPECT_FALSE(LastTime(files.Names().rawData));
  auto units = MakeUnits(begin, begin + 700);
  units.back().epochTime = 4'000'000'000;
  files.WriteRawData(BytesOf(units) + "torn");
  EXPECT_EQ(LastTime(files.Names().rawData), begin + 699);
  units.back().epochTime = begin + 699 + 3000;
  files.WriteRawData(BytesOf(units));
  EXPECT_EQ(LastTime(files.Names().rawData), begin + 699);
}

TEST(RawData, MemoryIsBoundedByWiderBuckets) {
  // A record every 50 s for a third of a year.
  std::vector<RawDataUnit> units;
  for (std::int64_t i = 0; i < 200'000; ++i) units.push_back(MakeUnit(begin + i * 50, 0));
  const Recording recording = ReadUnits(units);
  EXPECT_EQ(recording.sfp[0].records, 200'000);
  EXPECT_LE(recording.sfp[0].buckets.size(), 49'152);
  EXPECT_GT(recording.bucketWidth, 60);
  std::uint64_t records = 0;
  for (const Bucket& bucket : recording.sfp[0].buckets) records += bucket.records;
  EXPECT_EQ(records, 200'000);
}

}  // namespace
}  // namespace kestrune::report
