#include "app/dispatcher.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <sstream>
#include <string>

#include "app/usage.h"
#include "cmdline/command_line_parser.h"
#include "convert/raw_data_conversion.h"
#include "diag/status.h"
#include "monitor/logger.h"
#include "monitor/ptp_monitor.h"
#include "platform/console.h"

namespace kestrune {
namespace {

constexpr char passPhrase[] = "Tovrak_N3qLxW8pZc5Hr2m";

std::string OptionValue(const CZvCommandLineParser& parser, std::string_view key) {
  return parser.HasOption(key) ? parser.GetValue(key) : std::string();
}

void Monitor(const CardEntry& entry, const CZvCommandLineParser& parser, std::uint32_t hours) {
  const auto monitor = std::make_unique<PtpMonitor>(SystemClock());
  monitor->SetLogger(std::make_unique<Logger>());
  monitor->Run(entry.card, OptionValue(parser, "f"), OptionValue(parser, "p"), hours);
}

ResultHolder RunMode(const ApplicationContext& context, const CZvCommandLineParser& parser) {
  std::uint32_t hours = 0;
  CardSelection selection = SelectCard(context, parser);
  if (selection.result.Succeeded()) selection.result = ReadDuration(parser, hours);
  if (selection.result.Succeeded()) {
    Monitor(context.cards[selection.index], parser, hours);
  } else {
    PrintUsage();
  }
  return selection.result;
}

void PrivilegedMode(const CZvCommandLineParser& parser) {
  if (!parser.HasWord("decypher")) {
    PrintPrivilegedUsage();
    return;
  }
  ConvertRawData("ptpLog_decyphered_raw_data.txt", OptionValue(parser, "sf"), OptionValue(parser, "sp"),
                 OptionValue(parser, "df"), OptionValue(parser, "dp"));
}

ResultHolder CreateSystemConfiguration(ApplicationContext& context) {
  ResultHolder result = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  if (result.Failed()) {
    PrintStatus("Could no initialize system", result.Code());
    return result;
  }
  result = CheckGiven(
      CoCreateInstance(CLSID_ZvSystemConfiguration, nullptr, CLSCTX_INPROC_SERVER, IID_IZvSystemConfiguration,
                       reinterpret_cast<void**>(&context.systemConfiguration)),
      context.systemConfiguration);
  if (result.Failed()) PrintStatus("Could not create IZvSystemConfiguration", result.Code());
  return result;
}

}  // namespace

ResultHolder ReadDuration(const CZvCommandLineParser& parser, std::uint32_t& hours) {
  if (!parser.HasOption("d")) return ZV_NOERROR;
  std::istringstream value(parser.GetValue("d"));
  if (value >> hours) return ZV_NOERROR;
  PrintStatus("Invalid duration request", ZV_E_INVALID_PARAMETER);
  return ZV_E_INVALID_PARAMETER;
}

ResultHolder Dispatch(ApplicationContext& context, int argc, const char* const* argv) {
  const CZvCommandLineParser parser(argc, argv);
  ResultHolder result = ZV_NOERROR;

  if (parser.HasWord(passPhrase)) {
    PrivilegedMode(parser);
    return result;
  }
  if (parser.HasWord("help")) {
    PrintUsage();
    return result;
  }

  // From here on a run waits for no console.
  std::optional<ConsoleWriter> writer;
  if (parser.HasWord("run") && !parser.HasWord("list")) writer.emplace();

  result = CreateSystemConfiguration(context);
  if (result.Succeeded()) result = EnumerateCards(context);
  if (result.Failed()) return result;

  if (parser.HasWord("list")) {
    PrintCardList(context);
  } else if (parser.HasWord("run")) {
    result = RunMode(context, parser);
  } else {
    PrintUsage();
  }
  return result;
}

}  // namespace kestrune
