#include "report/options.h"

#include <CLI/CLI.hpp>
#include <charconv>
#include <limits>

#include "platform/paths.h"

namespace kestrune::report {
namespace {

constexpr std::string_view endings[] = {"_raw_data", "_event_log.txt", "_period_test_results.txt"};
constexpr int statusOfErrors = 4;

std::optional<std::int64_t> ParseWhole(std::string_view text) {
  std::int64_t value = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  if (text.empty() || result.ec != std::errc() || result.ptr != text.data() + text.size())
    return std::nullopt;
  return value;
}

/// An option whose text `parse` understands, or a message that says what it takes.
template <typename Parse>
CLI::Option* AddParsed(CLI::App& app, const char* name, std::optional<std::int64_t>& value, Parse parse,
                       const char* takes, const char* help) {
  return app.add_option_function<std::string>(
      name,
      [&value, parse, takes, name](const std::string& text) {
        value = parse(text);
        if (!value) throw CLI::ValidationError(name, "'" + text + "' is not " + takes);
      },
      help);
}

/// Metrics are a task of their own, beside which nothing else is written.
void AddMetricsOptions(CLI::App& app, Options& options) {
  CLI::Option* metrics =
      app.add_option("--metrics", options.metrics, "Prometheus metrics, and no report; FILE.state beside it")
          ->check([](const std::string& name) {
            return name.empty() || name == "-" ? "is written aside and renamed, and needs a name" : "";
          })
          ->type_name("FILE");
  for (const char* other : {"-o", "--json", "--csv", "--step", "--from", "--to", "--last", "--mended",
                            "--fleet", "--print-limits"}) {
    metrics->excludes(app.get_option(other));
  }
  CLI::Option* follow =
      app.add_flag("--follow", options.follow, "write the metrics again and again, until ended")
          ->needs(metrics);
  app.add_option("--every", options.every, "so many seconds apart, at the clock's multiples of them (15)")
      ->check(CLI::Range(std::int64_t{1}, std::int64_t{3600}))
      ->needs(follow)
      ->type_name("N");
}

void AddOptions(CLI::App& app, Options& options) {
  app.add_option("prefix", options.prefix,
                 "folder and prefix of the run's files, such as D:\\timing\\studio1")
      ->type_name("");
  app.add_option("-o,--output", options.output, "the page; without it, PREFIX_report.html")
      ->type_name("FILE");
  app.add_option("--json", options.json, "verdict, findings and figures as JSON; - for standard output")
      ->type_name("FILE");
  app.add_option("--csv", options.csv, "the recording as a table; - for standard output")->type_name("FILE");
  app.add_option("--step", options.step, "seconds a line of the table (60)")
      ->check(CLI::Range(std::int64_t{1}, std::int64_t{86'400}))
      ->type_name("N");
  static constexpr char instant[] = "a time such as 2026-03-02T07:25:21Z (UTC) or seconds since 1970";
  AddParsed(app, "--from", options.from, ParseInstant, instant,
            "leave out what is before, UTC, such as 2026-03-02 or 2026-03-02T07:25:21Z")
      ->type_name("TIME");
  AddParsed(app, "--to", options.to, ParseInstant, instant, "leave out what is from here on, UTC")
      ->type_name("TIME");
  AddParsed(app, "--last", options.last, ParseDuration, "a duration such as 90m, 24h or 7d",
            "only this long before the end, such as 90m, 24h or 7d")
      ->type_name("D")
      ->excludes("--from")
      ->excludes("--to");
  app.add_option("--limits", options.limits, "a JSON file that changes limits of the rules")
      ->type_name("FILE");
  app.add_flag("--print-limits", options.printLimits, "print the limits file that changes nothing");
  app.add_option("--label", options.label, "shown beside the name")->type_name("NAME");
  app.add_option("--mended", options.mended, "a copy of the raw data without its damaged places")
      ->type_name("FILE");
  app.add_option("--fleet", options.fleet, "reports in JSON of many machines; makes the plant's page of them")
      ->type_name("FILE...")
      ->excludes("prefix");
  AddMetricsOptions(app, options);
  app.add_flag("-q,--quiet", options.quiet, "no progress bar");
}

}  // namespace

std::optional<std::int64_t> ParseInstant(const std::string& text) {
  if (const auto epoch = ParseWhole(text)) return epoch;
  constexpr std::size_t dateLength = 10;
  constexpr std::size_t timeLength = 19;
  if (text.size() == dateLength) return ParseCivilTime(text + " 00:00:00");
  const bool isUtc = text.size() == timeLength + 1 && text.back() == 'Z';
  return text.size() == timeLength || isUtc ? ParseCivilTime(text) : std::nullopt;
}

std::optional<std::int64_t> ParseDuration(const std::string& text) {
  constexpr std::string_view units = "smhd";
  constexpr std::int64_t seconds[] = {1, 60, 3600, 86'400};
  if (text.empty()) return std::nullopt;
  const std::size_t unit = units.find(text.back());
  const bool hasUnit = unit != std::string_view::npos;
  const auto count = ParseWhole(std::string_view(text).substr(0, text.size() - (hasUnit ? 1 : 0)));
  constexpr std::int64_t most = std::int64_t{1} << 40;
  if (!count || *count <= 0 || *count > most) return std::nullopt;
  return *count * (hasUnit ? seconds[unit] : 1);
}

std::string PrefixOf(const std::string& name) {
  for (const std::string_view ending : endings) {
    if (name.ends_with(ending)) return name.substr(0, name.size() - ending.size());
  }
  return name;
}

FileNames NamesOf(const std::string& prefix) {
  const std::string native = NativePath(PrefixOf(prefix));
  return {native + std::string(endings[0]), native + std::string(endings[1]),
          native + std::string(endings[2])};
}

std::string BaseName(const std::string& name) { return name.substr(name.find_last_of("/\\") + 1); }

OptionsResult ParseOptions(int argc, const char* const* argv, const std::string& version) {
  OptionsResult result;
  Options& options = result.options;
  CLI::App app{"One page that tells what a recording of Kestrune shows.", "kestrune-report"};
  app.footer("Exit status: 0 pass, 1 warn, 2 fail, 3 too little data for a verdict, 4 error.");
  app.set_version_flag("--version", version);
  AddOptions(app, options);
  try {
    app.parse(argc, argv);
    if (options.prefix.empty() && options.fleet.empty() && !options.printLimits)
      throw CLI::RequiredError("prefix");
    if (options.from && options.to && *options.from >= *options.to)
      throw CLI::ValidationError("--to", "nothing lies between --from and --to");
  } catch (const CLI::ParseError& error) {
    std::ostringstream out;
    std::ostringstream err;
    result.status = app.exit(error, out, err) == 0 ? 0 : statusOfErrors;
    result.message = out.str() + err.str();
  }
  return result;
}

}  // namespace kestrune::report
