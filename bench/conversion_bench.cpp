// A day's raw data file converted, beside a plain stream version of the same text and beside copying the
// bytes that the conversion reads and writes. Files live in the folder that the variable
// KESTRUNE_BENCH_FOLDER names (default: the current one) and are removed at the end.

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "convert/columns.h"
#include "convert/raw_data_conversion.h"
#include "convert/record_text.h"
#include "files/code_texts.h"

namespace kestrune {
namespace {

constexpr int unitsPerDay = 200'000;

/// A port that follows one of two masters: counters grow, delays jitter around their means.
class Day {
 public:
  RawDataUnit Next() {
    RawDataUnit unit{};
    TelemetryRecord& record = unit.record;
    const auto second = index_ / 2;
    unit.epochTime = 1709647629 + second;
    record.sfp = static_cast<std::uint8_t>(index_++ % 2);
    record.bestMasterLastPtpAnnouncePacket = Announce(second, 0);
    record.listOfPtpMaster[0] = record.bestMasterLastPtpAnnouncePacket;
    record.listOfPtpMaster[1] = Announce(second, 1);
    record.numberOfPtpMasters = 2;
    std::memcpy(record.bestMasterClockId, record.bestMasterLastPtpAnnouncePacket.masterClockId, 8);

    PerformanceMonitoring& monitoring = record.performanceMonitoring;
    monitoring.numberOfSyncSinceLastTelemetry = Between(7, 9);
    monitoring.masterToFollowerDelay = Figures(monitoring.numberOfSyncSinceLastTelemetry, 1250, 40);
    monitoring.originTimestampJitter = Figures(monitoring.numberOfSyncSinceLastTelemetry, 0, 300);
    monitoring.offsetFromMaster = Figures(monitoring.numberOfSyncSinceLastTelemetry, -3, 25);
    monitoring.numberOfDelayRespSinceLastTelemetry = Between(6, 9);
    monitoring.meanPathDelay = Figures(monitoring.numberOfDelayRespSinceLastTelemetry, 1247, 15);
    monitoring.followerToMasterDelay = Figures(monitoring.numberOfDelayRespSinceLastTelemetry, 1244, 35);
    monitoring.delayReqToDelayRespDelay =
        Figures(monitoring.numberOfDelayRespSinceLastTelemetry, 215'000, 9000);

    record.offsetFromMaster = Between(-25, 25);
    record.averagePathDelay = Between(1240, 1255);
    record.lastCorrection.nanoseconds = Between(-20, 20);
    record.currentUtcOffset = 37;
    record.currentUtcOffsetValid = record.twoStepFlag = record.timeTraceable = record.frequencyTraceable = 1;
    record.ptpTimescale = 1;
    record.timeSource = 0x20;
    record.logAnnounceInterval = -2;
    record.logSyncInterval = record.logMinDelayReqInterval = -3;
    const auto seconds = static_cast<std::uint32_t>(second);
    record.announceMessagesReceived = 8 * seconds;
    record.announceForeignMessagesReceived = 4 * seconds;
    record.syncMessagesReceived = record.followUpMessagesReceived = 8 * seconds;
    record.delayReqMessagesSent = record.delayRespMessagesReceived = 8 * seconds;
    record.managementMessagesReceived = seconds / 60;
    record.state = 10;
    record.linkSpeed = 2;
    record.linkTransmitRate = static_cast<std::uint64_t>(Between(1'100'000'000, 1'300'000'000));
    record.linkReceiveRate = static_cast<std::uint64_t>(Between(9000, 12'000));
    record.linkPacketsTransmitted = static_cast<std::uint64_t>(second) * 870'123;
    record.linkPacketsReceived = static_cast<std::uint64_t>(second) * 61;
    return unit;
  }

 private:
  std::int32_t Between(std::int32_t low, std::int32_t high) {
    return std::uniform_int_distribution<std::int32_t>(low, high)(random_);
  }

  PtpAnnounceInfo Announce(std::int64_t second, std::uint8_t master) {
    PtpAnnounceInfo announce{};
    const std::uint8_t address[] = {192, 168, 39, static_cast<std::uint8_t>(10 + master)};
    const std::uint8_t identity[] = {0x00, 0x1D, 0xC1, 0xFF, 0xFE, 0x12, 0x34, master};
    std::memcpy(announce.masterIPv4Address, address, sizeof address);
    std::memcpy(announce.masterClockId, identity, sizeof identity);
    std::memcpy(announce.grandmasterIdentity, identity, sizeof identity);
    announce.domainNumber = 127;
    announce.flagFieldOctet0 = 2;
    announce.flagFieldOctet1 = 0x3C;
    announce.logMessageInterval = -2;
    announce.sourcePortNumber = 1;
    announce.originTimestampSeconds = static_cast<std::uint64_t>(1709647666 + second);
    announce.originTimestampNanoseconds = static_cast<std::uint32_t>(Between(0, 999'999'999));
    announce.currentUtcOffset = 37;
    announce.grandmasterPriority1 = announce.grandmasterPriority2 = 128;
    announce.grandmasterClockClass = 6;
    announce.grandmasterClockAccuracy = 0x21;
    announce.grandmasterOffsetScaledLogVariance = 20061;
    announce.stepsRemoved = 1;
    announce.timeSource = 0x20;
    return announce;
  }

  QuantityFigures Figures(std::int32_t count, std::int32_t mean, std::int32_t spread) {
    QuantityFigures figures{};
    figures.minimum.nanoseconds = mean - Between(1, spread);
    figures.maximum.nanoseconds = mean + Between(1, spread);
    figures.sum.nanoseconds = count * mean + Between(-spread, spread);
    figures.summedSquaredDeviation.nanoseconds = count * Between(1, spread * spread);
    return figures;
  }

  std::mt19937 random_{1};
  std::int64_t index_ = 0;
};

std::string FileName(const char* name) {
  const char* folder = std::getenv("KESTRUNE_BENCH_FOLDER");
  return (std::filesystem::path(folder != nullptr ? folder : ".") / name).string();
}

void ConvertByTable(std::istream& source, std::int64_t size, std::ostream& destination) {
  ConvertUnits(source, size, HeaderText() + '\n', destination);
}

/// The day's raw data file, its text and a third file; removed at the end.
struct Files {
  std::string raw = FileName("bench_raw_data");
  std::string text = FileName("bench_text");
  std::string copy = FileName("bench_copy");

  Files() {
    std::ofstream file(raw, std::ios::binary);
    Day day;
    for (int i = 0; i < unitsPerDay; ++i) {
      const RawDataUnit unit = day.Next();
      file.write(reinterpret_cast<const char*>(&unit), sizeof unit);
    }
    file.close();
    std::ifstream source(raw, std::ios::binary);
    std::ofstream destination(text, std::ios::binary);
    ConvertByTable(source, std::int64_t{unitsPerDay} * static_cast<std::int64_t>(sizeof(RawDataUnit)),
                   destination);
  }
  Files(const Files&) = delete;
  ~Files() {
    for (const std::string& file : {raw, text, copy}) std::filesystem::remove(file);
  }
};

const Files& DayFiles() {
  static const Files files;
  return files;
}

void SyncToDisk(const std::string& name) {
  const int file = open(name.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0 || fsync(file) != 0) std::abort();
  close(file);
}

template <class Value>
Value Read(const RawDataUnit& unit, std::size_t place) {
  Value value;
  std::memcpy(&value, reinterpret_cast<const char*>(&unit) + place, sizeof value);
  return value;
}

std::uint64_t BigEndian(const RawDataUnit& unit, std::size_t place) {
  return __builtin_bswap64(Read<std::uint64_t>(unit, place));
}

double PerSample(const RawDataUnit& unit, const Column& column) {
  const std::int64_t seconds = Read<std::int32_t>(unit, column.place);
  const std::uint32_t count = Read<std::uint32_t>(unit, column.countPlace);
  return (static_cast<double>(seconds * 1'000'000'000) + Read<std::int32_t>(unit, column.place + 4u)) /
         (count == 0 ? 1 : count);
}

void WriteValue(std::ostream& line, const RawDataUnit& unit, const Column& column) {
  const std::size_t place = column.place;
  switch (column.rendering) {
    case Rendering::Unsigned8:
      line << unsigned{Read<std::uint8_t>(unit, place)};
      break;
    case Rendering::Unsigned32:
      line << Read<std::uint32_t>(unit, place);
      break;
    case Rendering::Unsigned64:
      line << Read<std::uint64_t>(unit, place);
      break;
    case Rendering::Signed32:
      line << Read<std::int32_t>(unit, place);
      break;
    case Rendering::Signed64:
      line << Read<std::int64_t>(unit, place);
      break;
    case Rendering::Hex32:
      line << std::hex << Read<std::uint32_t>(unit, place) << std::dec;
      break;
    case Rendering::IPv4:
      line << unsigned{Read<std::uint8_t>(unit, place)} << '.'
           << unsigned{Read<std::uint8_t>(unit, place + 1)} << '.'
           << unsigned{Read<std::uint8_t>(unit, place + 2)} << '.'
           << unsigned{Read<std::uint8_t>(unit, place + 3)};
      break;
    case Rendering::ClockIdentity:
      line << std::hex << BigEndian(unit, place) << std::dec;
      break;
    case Rendering::Average:
      line << PerSample(unit, column);
      break;
    case Rendering::StandardDeviation:
      line << std::sqrt(PerSample(unit, column));
      break;
    case Rendering::PortState:
      line << St2059StateText(Read<std::int32_t>(unit, place));
      break;
    case Rendering::LinkSpeed:
      line << (Read<std::uint32_t>(unit, place) == 1 ? 10'000'000'000 : 25'000'000'000);
      break;
    case Rendering::BitRate:
      line << Read<std::uint64_t>(unit, place) * 8;
      break;
  }
}

/// A fresh stream for every line, as one would write it first.
std::string StreamLine(const RawDataUnit& unit) {
  std::ostringstream line;
  line.precision(14);
  for (const Column& column : columns) {
    WriteValue(line, unit, column);
    if (&column != &columns.back()) line << ',';
  }
  line << '\n';
  return line.str();
}

void ConvertByStream(std::istream& source, std::int64_t size, std::ostream& destination) {
  destination << HeaderText() << '\n';
  RawDataUnit unit;
  for (; size > 0; size -= static_cast<std::int64_t>(sizeof unit)) {
    source.read(reinterpret_cast<char*>(&unit), sizeof unit);
    destination << StreamLine(unit);
  }
  destination.flush();
}

double UserMilliseconds(const rusage& usage) {
  return 1e3 * static_cast<double>(usage.ru_utime.tv_sec) +
         1e-3 * static_cast<double>(usage.ru_utime.tv_usec);
}

/// One conversion of the day's file; `synced` waits for the disk.
template <class Convert>
void ConvertDay(benchmark::State& state, Convert convert, const std::string& text, bool synced) {
  const Files& files = DayFiles();
  const auto size = static_cast<std::int64_t>(std::filesystem::file_size(files.raw));
  rusage before{};
  getrusage(RUSAGE_SELF, &before);
  for ([[maybe_unused]] auto _ : state) {
    std::ifstream source(files.raw, std::ios::binary);
    std::ofstream destination(text, std::ios::binary | std::ios::trunc);
    convert(source, size, destination);
    destination.close();
    if (synced) SyncToDisk(text);
  }
  state.SetBytesProcessed(state.iterations() * size);
  rusage after{};
  getrusage(RUSAGE_SELF, &after);
  state.counters["peakMB"] = static_cast<double>(after.ru_maxrss) / 1024;
  state.counters["userMs"] = benchmark::Counter(UserMilliseconds(after) - UserMilliseconds(before),
                                                benchmark::Counter::kAvgIterations);
}

void Convert(benchmark::State& state) {
  ConvertDay(state, ConvertByTable, DayFiles().text, state.range(0) != 0);
}

void ConvertByStreams(benchmark::State& state) {
  const Files& files = DayFiles();
  ConvertDay(state, ConvertByStream, files.copy, state.range(0) != 0);
  std::ifstream ours(files.text, std::ios::binary);
  std::ifstream theirs(files.copy, std::ios::binary);
  std::string left, right;
  bool more = true;
  while (more) {
    more = !!std::getline(ours, left);
    if (more != !!std::getline(theirs, right) || (more && left != right)) {
      return state.SkipWithError("the two texts differ");
    }
  }
}

void CopyFile(const std::string& from, const std::string& to) {
  static std::vector<char> block(1 << 17);
  const int source = open(from.c_str(), O_RDONLY | O_CLOEXEC);
  const int destination = open(to.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  ssize_t size = 0;
  while ((size = read(source, block.data(), block.size())) > 0) {
    if (write(destination, block.data(), static_cast<std::size_t>(size)) != size) std::abort();
  }
  close(source);
  close(destination);
}

/// The raw data file and the text, each read and written once.
void CopyInputAndOutput(benchmark::State& state) {
  const Files& files = DayFiles();
  for ([[maybe_unused]] auto _ : state) {
    for (const std::string& file : {files.raw, files.text}) {
      CopyFile(file, files.copy);
      if (state.range(0) != 0) SyncToDisk(files.copy);
    }
  }
}

/// Without the disk: one line, from memory to memory.
void WriteOneLine(benchmark::State& state) {
  Day day;
  const std::vector<RawDataUnit> units = [&] {
    std::vector<RawDataUnit> some(256);
    for (RawDataUnit& unit : some) unit = day.Next();
    return some;
  }();
  std::array<char, longestLine> line;
  std::size_t i = 0;
  for ([[maybe_unused]] auto _ : state) benchmark::DoNotOptimize(WriteLine(units[i++ % units.size()], line));
}

// The argument: 0 leaves the written bytes to the system, 1 waits until the disk has them.
BENCHMARK(Convert)->Arg(0)->Arg(1)->ArgName("sync")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(CopyInputAndOutput)->Arg(0)->Arg(1)->ArgName("sync")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(ConvertByStreams)->Arg(0)->ArgName("sync")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(WriteOneLine);

}  // namespace
}  // namespace kestrune

BENCHMARK_MAIN();
