#pragma once

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <random>
#include <span>
#include <string>
#include <vector>

#include "files/raw_data.h"
#include "report/recording.h"

namespace kestrune::report {

/// A record of a locked follower as a card delivers it: 8 Sync messages and 8 Delay_Resp messages, an offset
/// of `average` ns ± 5, counters that go on from second to second.
inline RawDataUnit MakeUnit(std::int64_t time, int sfp, std::int32_t average = 0, std::int32_t state = 10) {
  RawDataUnit unit{};
  unit.epochTime = time;
  TelemetryRecord& record = unit.record;
  record.sfp = static_cast<std::uint8_t>(sfp);
  record.state = state;
  record.linkSpeed = 1;
  const auto second = static_cast<std::uint32_t>(time % 1'000'000);
  record.syncMessagesReceived = record.followUpMessagesReceived = second * 8;
  record.delayReqMessagesSent = second * 8;
  record.linkPacketsReceived = std::uint64_t{second} * 1000;
  record.logSyncInterval = record.logMinDelayReqInterval = -3;
  record.twoStepFlag = 1;
  PtpAnnounceInfo& announce = record.bestMasterLastPtpAnnouncePacket;
  announce.grandmasterIdentity[7] = announce.masterClockId[7] = 1;
  announce.grandmasterClockClass = 6;
  announce.domainNumber = 127;
  PerformanceMonitoring& figures = record.performanceMonitoring;
  figures.numberOfSyncSinceLastTelemetry = figures.numberOfDelayRespSinceLastTelemetry = 8;
  figures.offsetFromMaster = {{0, 8 * average}, {0, average - 5}, {0, average + 5}, {0, 80}};
  figures.meanPathDelay = {{0, 8 * 1500}, {0, 1490}, {0, 1510}, {0, 200}};
  return unit;
}

/// Records of both SFPs for the seconds [from, to).
inline std::vector<RawDataUnit> MakeUnits(std::int64_t from, std::int64_t to) {
  std::vector<RawDataUnit> units;
  for (std::int64_t time = from; time < to; ++time) {
    for (const int sfp : {0, 1}) units.push_back(MakeUnit(time, sfp));
  }
  return units;
}

inline std::string BytesOf(std::span<const RawDataUnit> units) {
  return {reinterpret_cast<const char*>(units.data()), units.size_bytes()};
}

/// The files of a run in a folder of their own, for as long as it lives.
class RunFiles {
 public:
  RunFiles()
      : folder_(std::filesystem::temp_directory_path() /
                ("report_test" + std::to_string(std::random_device()()))) {
    std::filesystem::create_directories(folder_);
  }
  ~RunFiles() { std::filesystem::remove_all(folder_); }
  RunFiles(const RunFiles&) = delete;
  RunFiles& operator=(const RunFiles&) = delete;

  FileNames Names() const {
    const std::string prefix = (folder_ / "run").string();
    return {prefix + "_raw_data", prefix + "_event_log.txt", prefix + "_period_test_results.txt"};
  }
  void WriteRawData(const std::string& bytes) const {
    std::ofstream(Names().rawData, std::ios::binary | std::ios::trunc) << bytes;
  }
  Recording Read(const ReadOptions& options = {}, const Observers& observers = {}) const {
    Recording recording;
    ReadRecording(Names(), options, observers, recording);
    return recording;
  }

 private:
  std::filesystem::path folder_;
};

}  // namespace kestrune::report
