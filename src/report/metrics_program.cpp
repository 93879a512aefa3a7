#include "report/metrics_program.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <span>
#include <sstream>
#include <string>
#include <utility>

#include "platform/clock.h"
#include "platform/input_file.h"
#include "platform/paths.h"
#include "platform/terminal.h"
#include "report/event_log_tail.h"
#include "report/judge.h"
#include "report/metrics_pass.h"
#include "report/metrics_state.h"
#include "report/metrics_text.h"
#include "report/self_check.h"

namespace kestrune::report {
namespace {

constexpr char stateEnding[] = ".state";
constexpr char asideEnding[] = ".new";
constexpr int statusOfErrors = 4;
constexpr int statusWithoutVerdict = 3;
constexpr std::int64_t longestSilence = 60;  // seconds; then the last record isn't of now any more

/// FNV-1a.
std::uint64_t HashOf(std::span<const std::byte> bytes) {
  std::uint64_t hash = 0xcbf29ce484222325;
  for (const std::byte byte : bytes) {
    hash = (hash ^ static_cast<std::uint64_t>(byte)) * 0x100000001b3;
  }
  return hash;
}

std::uint64_t HashOfUnitAt(const InputFile& file, std::uint64_t place) {
  std::array<std::byte, sizeof(RawDataUnit)> bytes;
  return HashOf(std::span(bytes).first(file.ReadAt(place, bytes)));
}

std::uint64_t HashBefore(const InputFile& file, std::uint64_t place) {
  return place < sizeof(RawDataUnit) ? 0 : HashOfUnitAt(file, place - sizeof(RawDataUnit));
}

/// The present state of the file, as a state remembers it.
void Identify(const InputFile& file, MetricsState& state) {
  state.beginning = HashOfUnitAt(file, 0);
  state.beforeMark = HashBefore(file, state.mark.place);
  state.rawDataBytes = static_cast<std::uint64_t>(std::max<std::int64_t>(file.Size(), 0));
}

/// Is this the file that the state is of, grown or not?
bool Continues(const InputFile& file, const MetricsState& state) {
  return file.Size() >= static_cast<std::int64_t>(state.rawDataBytes) &&
         HashOfUnitAt(file, 0) == state.beginning && HashBefore(file, state.mark.place) == state.beforeMark;
}

std::string ReadText(const std::string& name) {
  std::ifstream file(NativePath(name), std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

/// Writes a file aside and puts it in the other's place, so that nobody ever reads half of it.
bool ReplaceFile(const std::string& name, const std::string& text) {
  std::error_code unknown;
  const auto type = std::filesystem::status(NativePath(name), unknown).type();
  if (type != std::filesystem::file_type::not_found && type != std::filesystem::file_type::regular)
    return false;
  const std::string aside = NativePath(name + asideEnding);
  std::ofstream file(aside, std::ios::binary | std::ios::trunc);
  file << text;
  file.close();
  std::error_code error;
  if (file.good()) std::filesystem::rename(aside, NativePath(name), error);
  if (file.good() && !error) return true;
  std::filesystem::remove(aside, error);
  return false;
}

std::int64_t FileSize(const std::string& name) {
  InputFile file;
  return file.Open(name) ? file.Size() : 0;
}

/// The state that an earlier run left, if it is of these files and limits; else an empty one.
MetricsState TakeUpState(const std::string& stateName, const InputFile& rawData, const std::string& eventLog,
                         const Limits& limits) {
  const std::string limitsText = WriteLimits(limits);
  const std::uint64_t limitsHash = HashOf(std::as_bytes(std::span(limitsText)));
  const std::optional<MetricsState> left = ReadState(ReadText(stateName));
  if (left && left->limits == limitsHash && Continues(rawData, *left) &&
      FileSize(eventLog) >= static_cast<std::int64_t>(left->eventLog.place))
    return *left;
  MetricsState fresh;
  fresh.limits = limitsHash;
  return fresh;
}

/// Judges the last day of a recording as the report does.
Verdict JudgeLastDay(const FileNames& names, const Limits& limits, std::int64_t newest,
                     std::uint64_t rawDataBytes) {
  ReadOptions options;
  options.from = newest + 1 - dayLength;
  // No more units than these are of a day, and an hour.
  constexpr std::uint64_t most = (dayLength + 3600) * sfpCount * sizeof(RawDataUnit);
  if (rawDataBytes > most) options.place = (rawDataBytes - most) / sizeof(RawDataUnit) * sizeof(RawDataUnit);
  Recording recording;
  Watch watch(recording, limits);
  SelfCheck selfCheck(recording);
  ReadRecording(names, options, {{&selfCheck}, {&watch}}, recording);
  watch.Finish();
  selfCheck.Finish();
  return JudgeRecording(recording, watch, selfCheck, limits).verdict;
}

/// Judges anew when what is judged has grown by a hundredth of a day or of itself, so that it always costs
/// the same small share of the time.
void RenewVerdict(const FileNames& names, const Limits& limits, std::int64_t newest, MetricsState& state) {
  constexpr std::int64_t share = 96;
  const std::int64_t due =
      state.judgedAt + std::clamp<std::int64_t>(state.judgedSeconds, 0, dayLength) / share;
  if (state.verdict >= 0 && newest < due && newest >= state.judgedAt) return;
  const auto units = static_cast<std::int64_t>(state.rawDataBytes / sizeof(RawDataUnit));
  state.verdict = ExitStatus(JudgeLastDay(names, limits, newest, state.rawDataBytes));
  state.judgedAt = newest;
  state.judgedSeconds = units / sfpCount;
}

/// Reads what the files have gained and writes the metrics and the state. Empty, or what went wrong.
std::string UpdateMetrics(const Options& options, const FileNames& names, const Limits& limits) {
  InputFile rawData;
  if (!rawData.Open(names.rawData)) return "could not read " + names.rawData;
  const std::string stateName = options.metrics + stateEnding;
  MetricsState state = TakeUpState(stateName, rawData, names.eventLog, limits);
  MetricsPass pass(state.mark, ReadEventLogOn(names.eventLog, state.eventLog), limits);
  pass.Read(rawData);
  const MetricsFigures figures = pass.Figures();
  state.mark = pass.Mark();
  ForgetBefore(state.mark.newest, state.eventLog);
  Identify(rawData, state);
  if (figures.newest != 0) RenewVerdict(names, limits, figures.newest, state);

  const bool current = std::llabs(SystemClock().EpochSeconds() - figures.newest) <= longestSilence;
  std::optional<int> verdict;
  if (state.verdict >= 0 && state.verdict < statusWithoutVerdict) verdict = static_cast<int>(state.verdict);
  std::vector<Metric> metrics = MakeMetrics(figures, current, verdict, limits);
  KeepCountersRising(metrics, state.shown);
  const std::string instance = options.label.empty() ? BaseName(PrefixOf(options.prefix)) : options.label;
  if (!ReplaceFile(options.metrics, MetricsText(metrics, instance)))
    return "could not write " + options.metrics;
  return ReplaceFile(stateName, WriteState(state)) ? "" : "could not write " + stateName;
}

/// Waits for the next multiple of `step` seconds.
void AwaitStep(std::int64_t step) {
  const std::int64_t stepTicks = step * ticksPerSecond;
  const std::int64_t next = (SystemClock().NowTicks() / stepTicks + 1) * stepTicks;
  // A clock that was set back is not waited for.
  while (SystemClock().NowTicks() < next && SystemClock().NowTicks() >= next - stepTicks)
    SystemClock().SleepUntil(next);
}

}  // namespace

int RunMetrics(const Options& options, const FileNames& names, const Limits& limits) {
  std::string told;
  while (true) {
    const std::string error = UpdateMetrics(options, names, limits);
    if (!error.empty() && error != told) WriteStandardError("kestrune-report: " + error + "\n");
    if (!options.follow) return error.empty() ? 0 : statusOfErrors;
    told = error;
    AwaitStep(options.every);
  }
}

}  // namespace kestrune::report
