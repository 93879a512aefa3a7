#pragma once

#include "report/limits.h"
#include "report/options.h"
#include "report/recording.h"

namespace kestrune::report {

/// Writes the metrics of a recording into the file that the options name, once or, if they say so, again and
/// again without end. The program's exit status.
int RunMetrics(const Options& options, const FileNames& names, const Limits& limits);

}  // namespace kestrune::report
