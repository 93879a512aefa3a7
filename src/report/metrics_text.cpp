#include "report/metrics_text.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "report/measures.h"
#include "report/texts.h"

namespace kestrune::report {
namespace {

constexpr double nanosecond = 1e-9;  // in seconds

std::string Label(std::string_view name, std::string_view value) {
  std::string label = std::string(name) + "=\"";
  for (const char letter : value) {
    if (letter == '\\' || letter == '"') label += '\\';
    label += letter;
  }
  return label + '"';
}

std::string SfpLabel(std::size_t sfp) { return Label("sfp", sfp == 0 ? "A" : "B"); }

std::string NumberText(double value) {
  constexpr int digits = 15;  // beyond are only the traces of binary fractions
  std::array<char, 32> text;
  char* const end = text.data() + text.size();
  return {text.data(), std::to_chars(text.data(), end, value, std::chars_format::general, digits).ptr};
}

/// Collects metrics; one whose value isn't known gets no series.
class MetricList {
 public:
  Metric& Add(std::string_view name, std::string_view help) {
    return all_.emplace_back(Metric{name, help, name.ends_with("_total"), {}});
  }
  void Add(std::string_view name, std::string_view help, std::optional<double> value) {
    Metric& metric = Add(name, help);
    if (value) metric.samples.push_back({"", *value});
  }
  /// value(sfp) is an optional number.
  template <typename Value>
  void AddPerSfp(std::string_view name, std::string_view help, Value value) {
    Metric& metric = Add(name, help);
    for (std::size_t sfp = 0; sfp < sfpCount; ++sfp) {
      if (const std::optional<double> known = value(sfp)) metric.samples.push_back({SfpLabel(sfp), *known});
    }
  }
  std::vector<Metric> Take() { return std::move(all_); }

 private:
  std::vector<Metric> all_;
};

std::optional<double> Seconds(std::optional<double> nanoseconds) {
  if (!nanoseconds) return std::nullopt;
  return *nanoseconds * nanosecond;
}

template <typename Value>
auto OfMaster(const MetricsFigures& figures, Value value) {
  return [&figures, value](std::size_t sfp) -> std::optional<double> {
    const std::optional<Master>& master = figures.sfp[sfp].master;
    if (!master) return std::nullopt;
    return value(*master);
  };
}

void AddGauges(const MetricsFigures& figures, MetricList& list) {
  list.Add("kestrune_card_locked", "Whether the card is locked to its grandmaster (1) or not (0).",
           figures.cardLocked ? 1 : 0);
  list.AddPerSfp("kestrune_locked", "Whether the SFP is in the state follower locked (1) or not (0).",
                 [&](std::size_t sfp) { return figures.sfp[sfp].locked; });
  list.AddPerSfp("kestrune_followed", "Whether it is the SFP that the card follows (1) or not (0).",
                 [&](std::size_t sfp) { return figures.followed == static_cast<int>(sfp) ? 1 : 0; });
  list.AddPerSfp("kestrune_offset_mean_seconds",
                 "Average offset from the master in the locked seconds of the last minute.",
                 [&](std::size_t sfp) { return Seconds(figures.sfp[sfp].offsetMean); });
  list.AddPerSfp("kestrune_offset_abs_max_seconds",
                 "Greatest absolute average offset of a locked second of the last minute.",
                 [&](std::size_t sfp) { return Seconds(figures.sfp[sfp].offsetAbsMax); });
  list.AddPerSfp("kestrune_path_delay_seconds",
                 "Average mean path delay in the locked seconds of the last minute.",
                 [&](std::size_t sfp) { return Seconds(figures.sfp[sfp].pathDelay); });
  list.Add("kestrune_sfp_difference_seconds",
           "Average difference of the SFPs' offsets, A less B, on one grandmaster in the last minute.",
           Seconds(figures.difference));
  list.AddPerSfp("kestrune_clock_class", "Clock class of the SFP's grandmaster.",
                 OfMaster(figures, [](const Master& master) { return master.clockClass; }));
  list.AddPerSfp("kestrune_utc_offset_seconds", "UTC offset that the SFP's master announces.",
                 OfMaster(figures, [](const Master& master) { return master.utcOffset; }));
  Metric& info = list.Add("kestrune_grandmaster_info", "The SFP's grandmaster and its domain; always 1.");
  for (std::size_t sfp = 0; sfp < sfpCount; ++sfp) {
    const std::optional<Master>& master = figures.sfp[sfp].master;
    if (!master) continue;
    info.samples.push_back({SfpLabel(sfp) + ',' + Label("grandmaster", IdentityText(master->grandmaster)) +
                                ',' + Label("domain", std::to_string(master->domain)),
                            1});
  }
}

void AddMissing(const MetricsSums& sums, MetricList& list) {
  Metric& metric = list.Add("kestrune_messages_missing_total",
                            "Messages that were due while the link was up, and that didn't come.");
  for (std::size_t sfp = 0; sfp < sfpCount; ++sfp) {
    for (const MessageKind kind : {syncMessage, followUpMessage, delayRespMessage}) {
      const MessageTally& tally = sums.messages[sfp][kind];
      if (tally.due <= 0) continue;
      metric.samples.push_back({SfpLabel(sfp) + ',' + Label("kind", MessageKindText(kind)), tally.Missing()});
    }
  }
}

void AddCounters(const MetricsSums& sums, const Limits& limits, MetricList& list) {
  list.Add("kestrune_unlocked_seconds_total", "Seconds in which the card wasn't locked, start-up apart.",
           sums.cardUnlocked);
  Metric& beyond = list.Add("kestrune_over_limit_seconds_total",
                            "Seconds whose offset was beyond the limit that warns, that fails.");
  const Limit& limit = limits[Rule::Offset];
  if (limit.warn) beyond.samples.push_back({Label("limit", "warn"), static_cast<double>(sums.beyondWarn)});
  if (limit.fail) beyond.samples.push_back({Label("limit", "fail"), static_cast<double>(sums.beyondFail)});
  AddMissing(sums, list);
  list.Add("kestrune_grandmaster_changes_total", "Changes of the followed SFP's grandmaster.",
           sums.grandmasterChanges);
  list.AddPerSfp("kestrune_relocks_total", "Times that the SFP locked again after a loss of lock.",
                 [&](std::size_t sfp) { return sums.relocks[sfp]; });
  list.AddPerSfp("kestrune_records_total", "Telemetry records in the raw data.",
                 [&](std::size_t sfp) -> std::optional<double> {
                   if (sums.records[sfp] == 0) return std::nullopt;
                   return sums.records[sfp];
                 });
}

}  // namespace

std::vector<Metric> MakeMetrics(const MetricsFigures& figures, bool current, std::optional<int> verdict,
                                const Limits& limits) {
  MetricList list;
  if (figures.newest == 0) return list.Take();
  list.Add("kestrune_last_record_timestamp_seconds", "Time of the last telemetry record, since 1970.",
           figures.newest);
  list.Add("kestrune_verdict", "Verdict on the last 24 hours: 0 pass, 1 warn, 2 fail.", verdict);
  if (current) AddGauges(figures, list);
  AddCounters(figures.sums, limits, list);
  return list.Take();
}

void KeepCountersRising(std::vector<Metric>& metrics, std::map<std::string, double>& shown) {
  for (Metric& metric : metrics) {
    if (!metric.isCounter) continue;
    for (MetricSample& sample : metric.samples) {
      double& before = shown[std::string(metric.name) + '{' + sample.labels + '}'];
      sample.value = before = std::max(before, sample.value);
    }
  }
}

std::string MetricsText(const std::vector<Metric>& metrics, std::string_view instance) {
  const std::string instanceLabel = Label("instance_label", CleanText(instance));
  std::string text;
  for (const Metric& metric : metrics) {
    if (metric.samples.empty()) continue;
    const std::string name(metric.name);
    text.append("# HELP ").append(name).append(" ").append(metric.help).append("\n");
    text.append("# TYPE ").append(name).append(metric.isCounter ? " counter\n" : " gauge\n");
    for (const MetricSample& sample : metric.samples) {
      text.append(name).append("{").append(instanceLabel);
      if (!sample.labels.empty()) text.append(",").append(sample.labels);
      text.append("} ").append(NumberText(sample.value)).append("\n");
    }
  }
  return text;
}

}  // namespace kestrune::report
