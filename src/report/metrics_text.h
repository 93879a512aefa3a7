#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "report/limits.h"
#include "report/metrics_pass.h"

namespace kestrune::report {

struct MetricSample {
  std::string labels;  ///< `sfp="A",kind="Sync"`, values escaped; may be empty
  double value = 0;
};

/// A metric with all its series.
struct Metric {
  std::string_view name;
  std::string_view help;
  bool isCounter = false;
  std::vector<MetricSample> samples;
};

/// What is known, in seconds where it has a unit. `current` is whether the last record is of now: a state of
/// long ago isn't known any more. `verdict` 0 pass, 1 warn, 2 fail.
std::vector<Metric> MakeMetrics(const MetricsFigures& figures, bool current, std::optional<int> verdict,
                                const Limits& limits);

/// A counter never falls: where one would, for what was counted a moment too early, it stays as it was
/// `shown`, which then holds what is shown now.
void KeepCountersRising(std::vector<Metric>& metrics, std::map<std::string, double>& shown);

/// Prometheus' text format, without the metrics that have no series; `instance` goes into a label of all.
std::string MetricsText(const std::vector<Metric>& metrics, std::string_view instance);

}  // namespace kestrune::report
