#include "report/report_program.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <streambuf>
#include <string>
#include <utility>
#include <vector>

#include "platform/clock.h"
#include "platform/console.h"
#include "platform/input_file.h"
#include "platform/paths.h"
#include "platform/terminal.h"
#include "report/csv_output.h"
#include "report/fleet_page.h"
#include "report/json_output.h"
#include "report/judge.h"
#include "report/mended_output.h"
#include "report/metrics_program.h"
#include "report/options.h"
#include "report/page/page_assets.h"
#include "report/page_model.h"
#include "report/page_writer.h"
#include "report/progress.h"
#include "report/self_check.h"
#include "report/side_series.h"
#include "report/stability.h"
#include "report/summary.h"
#include "report/watch.h"

namespace kestrune::report {
namespace {

constexpr int statusOfErrors = 4;
constexpr char standardOutput[] = "-";
constexpr char noStandardOutput[] = "could not write to standard output";
constexpr char pageEnding[] = "_report.html";
constexpr char fleetPage[] = "plant.html";

void PrintError(const std::string& text) { WriteStandardError("kestrune-report: " + text + "\n"); }

/// All that one run of the program knows.
struct Work {
  Options options;
  FileNames names;
  Limits limits = DefaultLimits();
  Recording recording;
  Stability stability;
  SideSeries side;
};

/// Standard output as a stream that keeps little of what goes through it.
class StandardOutput : public std::streambuf {
 public:
  StandardOutput() { setp(bytes_.data(), bytes_.data() + bytes_.size()); }

 protected:
  int_type overflow(int_type byte) override {
    if (sync() != 0) return traits_type::eof();
    if (!traits_type::eq_int_type(byte, traits_type::eof())) sputc(traits_type::to_char_type(byte));
    return traits_type::not_eof(byte);
  }
  int sync() override {
    const std::string_view text(pbase(), pptr());
    const bool good = WriteStandardOutput(text) == text.size();
    setp(bytes_.data(), bytes_.data() + bytes_.size());
    return good ? 0 : -1;
  }

 private:
  std::array<char, 1 << 16> bytes_;
};

/// Writes a file, or to standard output, by `write`, which gets the stream and tells whether it is good.
template <typename Write>
bool WriteFile(const std::string& name, Write write) {
  if (name == standardOutput) {
    StandardOutput buffer;
    std::ostream output(&buffer);
    const bool good = write(output) && output.flush().good();
    if (!good) PrintError(noStandardOutput);
    return good;
  }
  std::ofstream file(NativePath(name), std::ios::binary | std::ios::trunc);
  const bool good = file.is_open() && write(file) && file.flush().good();
  if (!good) PrintError("could not write " + name);
  return good;
}

/// Do two names, as the operating system opens them, lead to one file, or would they if it were there?
bool LeadToOneFile(const std::string& left, const std::string& right) {
  const auto folderOf = [](const std::string& name) {
    const std::string folder = name.substr(0, name.size() - BaseName(name).size());
    return folder.empty() ? std::string(".") : folder;
  };
  return IsSameFile(left, right) ||
         (BaseName(left) == BaseName(right) && IsSameFile(folderOf(left), folderOf(right)));
}

bool IsOneOfTheFiles(const Work& work, const std::string& output) {
  const std::string name = NativePath(output);
  for (const std::string* input : {&work.names.rawData, &work.names.eventLog, &work.names.periodLines}) {
    if (LeadToOneFile(name, *input)) return true;
  }
  return false;
}

std::string PageName(const Options& options) {
  return options.output.empty() ? PrefixOf(options.prefix) + pageEnding : options.output;
}

bool AreOutputsSafe(const Work& work) {
  const Options& options = work.options;
  std::vector<std::string> before;
  for (const std::string& output :
       {PageName(options), options.json, options.csv, options.mended, options.metrics}) {
    if (output.empty()) continue;
    if (IsOneOfTheFiles(work, output)) {
      PrintError(output + " is one of the files that are read");
      return false;
    }
    const auto isSame = [&](const std::string& other) {
      return other == output || LeadToOneFile(NativePath(other), NativePath(output));
    };
    if (std::ranges::any_of(before, isSame)) {
      PrintError("two outputs would go to " + output);
      return false;
    }
    before.push_back(output);
  }
  return true;
}

/// What goes to standard output goes there alone.
bool IsStandardOutputTaken(const Options& options) {
  return options.json == standardOutput || options.csv == standardOutput ||
         options.mended == standardOutput || options.output == standardOutput;
}

bool TakeLimits(Work& work) {
  if (work.options.limits.empty()) return true;
  constexpr std::size_t most = 1 << 20;
  std::string text(most, '\0');
  std::ifstream file(NativePath(work.options.limits), std::ios::binary);
  file.read(text.data(), static_cast<std::streamsize>(text.size()));
  if (!file.is_open() || file.bad() || file.good()) {
    PrintError("could not read " + work.options.limits + (file.good() ? ": it is larger than 1 MB" : ""));
    return false;
  }
  text.resize(static_cast<std::size_t>(file.gcount()));
  LimitsResult result = ReadLimits(text);
  if (!result.error.empty()) {
    PrintError(work.options.limits + ": " + result.error);
    return false;
  }
  work.limits = result.limits;
  return true;
}

ReadOptions MakeReadOptions(const Work& work) {
  const Options& options = work.options;
  ReadOptions read;
  read.from = options.from.value_or(read.from);
  read.to = options.to.value_or(read.to);
  if (options.last) {
    if (const auto end = LastTime(work.names.rawData)) read.from = *end + 1 - *options.last;
  }
  if (!options.quiet) read.progress = ShowProgress;
  return read;
}

bool WriteMendedCopy(const Work& work) {
  if (work.options.mended.empty()) return true;
  if (!work.recording.rawDataPresent) {
    PrintError("there is no raw data of which " + work.options.mended + " could be made");
    return false;
  }
  MendedResult result;
  const bool good = WriteFile(work.options.mended, [&](std::ostream& output) {
    result = WriteMended(work.names.rawData, output);
    return result.good;
  });
  if (good && !IsStandardOutputTaken(work.options)) {
    PrintToConsole(work.options.mended + ": " + std::to_string(result.units) + " units; " +
                   std::to_string(result.bytes) + " bytes left out, of " + std::to_string(result.places) +
                   " places and the end\n");
  }
  return good;
}

int SfpsOf(const Episode& episode) {
  int sfps = 0;
  for (const Finding& finding : episode.findings) sfps |= finding.sfp < 0 ? 3 : 1 << finding.sfp;
  return sfps;
}

Heading HeadingOf(const Work& work) {
  return {BaseName(PrefixOf(work.options.prefix)), work.options.label, KESTRUNE_VERSION,
          SystemClock().EpochSeconds(), work.names};
}

PageFacts MakeFacts(const Work& work, const Judgement& judgement) {
  PageFacts facts;
  facts.name = BaseName(PrefixOf(work.options.prefix));
  const Limit& offsets = work.limits[Rule::Offset];
  const Limit& differences = work.limits[Rule::Difference];
  facts.offsetWarn = offsets.warn.value_or(0);
  facts.offsetFail = offsets.fail.value_or(0);
  facts.differenceWarn = differences.warn.value_or(0);
  facts.differenceFail = differences.fail.value_or(0);
  facts.running = IsRunning(work.recording, SystemClock().EpochSeconds());
  for (const Episode& episode : judgement.episodes) {
    facts.episodes.push_back({episode.from, episode.to, static_cast<int>(episode.severity), SfpsOf(episode)});
  }
  return facts;
}

bool WritePageFile(const std::string& name, const std::string& page, bool silent) {
  const bool good = WriteFile(name, [&](std::ostream& output) -> bool { return !!(output << page); });
  if (good && !silent) {
    PrintToConsole("Page: " + name + " (" + std::to_string((page.size() + 999) / 1000) + " kB)\n");
  }
  return good;
}

bool WritePage(const Work& work, const Judgement& judgement) {
  const PageFacts facts = MakeFacts(work, judgement);
  kainjow::mustache::data model = MakePageModel(judgement, HeadingOf(work));
  const PageParts parts{pageTemplate, pageStyle, pageScript, pageScriptHash};
  const std::string page =
      RenderPage(parts, std::move(model), work.recording, work.stability, work.side, facts);
  return WritePageFile(PageName(work.options), page, IsStandardOutputTaken(work.options));
}

bool WriteOutputs(const Work& work, const Judgement& judgement) {
  const Options& options = work.options;
  bool good = true;
  if (!options.csv.empty()) {
    good &= WriteFile(options.csv,
                      [&](std::ostream& output) { return WriteCsv(work.recording, options.step, output); });
  }
  if (!options.json.empty()) {
    good &= WriteFile(options.json,
                      [&](std::ostream& output) { return WriteJson(judgement, HeadingOf(work), output); });
  }
  if (!IsStandardOutputTaken(options))
    PrintToConsole(SummaryText(judgement, BaseName(PrefixOf(options.prefix))));
  return WritePage(work, judgement) && good;
}

/// Could all of the raw data be read, and is it still there for all that was read again later?
bool IsWholeRawData(const FileNames& names, const Recording& recording) {
  if (!recording.rawDataPresent) return true;
  InputFile file;
  const bool isThere =
      file.Open(names.rawData) && file.Size() >= static_cast<std::int64_t>(recording.rawDataBytes);
  if (isThere && recording.rawDataLost == 0) return true;
  PrintError(names.rawData +
             (isThere ? " can't be read to its end" : " was cut off or removed while it was read"));
  return false;
}

/// Tells which of the files are there and yet can't be read. Are there none?
bool TellUnreadable(const FileNames& names, Recording& recording) {
  const auto look = [&](const std::string& name, bool read) {
    const bool isThere = IsSameFile(name, name);
    if (read || !isThere) return;
    PrintError("could not read " + name);
    recording.unreadable.push_back(BaseName(name));
  };
  look(names.rawData, recording.rawDataPresent);
  look(names.eventLog, recording.eventLog.present);
  look(names.periodLines, recording.periodLines.present);
  return recording.unreadable.empty();
}

int Report(Work& work) {
  Watch watch(work.recording, work.limits);
  SelfCheck selfCheck(work.recording);
  ReadRecording(work.names, MakeReadOptions(work), {{&selfCheck, &work.side}, {&watch, &work.stability}},
                work.recording);
  watch.Finish();
  selfCheck.Finish();
  work.side.Finish();
  work.stability.Finish();
  const Recording& recording = work.recording;
  bool good = TellUnreadable(work.names, work.recording);
  if (!recording.rawDataPresent && !recording.eventLog.present && !recording.periodLines.present) {
    PrintError("no file of " + work.options.prefix + " can be read");
    return statusOfErrors;
  }
  const Judgement judgement = JudgeRecording(recording, watch, selfCheck, work.limits);
  good &= WriteMendedCopy(work);
  good &= WriteOutputs(work, judgement);
  good &= IsWholeRawData(work.names, recording);
  return good ? ExitStatus(judgement.verdict) : statusOfErrors;
}

bool IsOneOf(const std::vector<std::string>& files, const std::string& output) {
  return std::ranges::any_of(
      files, [&](const std::string& file) { return IsSameFile(NativePath(file), NativePath(output)); });
}

int ReportFleet(const Options& options) {
  const std::string output = options.output.empty() ? fleetPage : options.output;
  if (IsOneOf(options.fleet, output)) {
    PrintError(output + " is one of the files that are read");
    return statusOfErrors;
  }
  std::vector<Machine> machines;
  for (const std::string& file : options.fleet) {
    machines.push_back(ReadMachine(file));
    if (!machines.back().error.empty()) PrintError(file + ": " + machines.back().error);
  }
  PutWorstFirst(machines);
  const std::string name = options.label.empty() ? "Plant" : options.label;
  if (output != standardOutput) PrintToConsole(FleetSummary(machines));
  const std::string page = RenderFleetPage(machines, name, KESTRUNE_VERSION, SystemClock().EpochSeconds());
  return WritePageFile(output, page, output == standardOutput) ? FleetExitStatus(machines) : statusOfErrors;
}

int RunTask(int argc, const char* const* argv) {
  const OptionsResult parsed = ParseOptions(argc, argv, "kestrune-report " KESTRUNE_VERSION);
  if (parsed.status) {
    if (*parsed.status == 0) {
      PrintToConsole(parsed.message);
    } else {
      WriteStandardError(parsed.message);
    }
    return *parsed.status;
  }
  if (parsed.options.printLimits) {
    PrintToConsole(WriteLimits(DefaultLimits()));
    return 0;
  }
  if (!parsed.options.fleet.empty()) return ReportFleet(parsed.options);
  Work work;
  work.options = parsed.options;
  work.names = NamesOf(work.options.prefix);
  if (!AreOutputsSafe(work) || !TakeLimits(work)) return statusOfErrors;
  if (!work.options.metrics.empty()) return RunMetrics(work.options, work.names, work.limits);
  return Report(work);
}

}  // namespace

int RunReport(int argc, const char* const* argv) {
  bool lost = false;
  const ConsoleSink before = ReplaceConsoleSink([&](std::string_view text) {
    const std::size_t taken = WriteStandardOutput(text);
    lost |= taken < text.size();
    return taken;
  });
  const int status = RunTask(argc, argv);
  ReplaceConsoleSink(before);
  if (!lost) return status;
  PrintError(noStandardOutput);
  return statusOfErrors;
}

}  // namespace kestrune::report
