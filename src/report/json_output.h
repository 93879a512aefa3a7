#pragma once

#include <ostream>

#include "report/judge.h"
#include "report/page_model.h"

namespace kestrune::report {

/// Verdict, checks, episodes and figures as one JSON object, by the schema in docs/report.md; with a newline
/// at its end. False when `output` fails.
bool WriteJson(const Judgement& judgement, const Heading& heading, std::ostream& output);

}  // namespace kestrune::report
