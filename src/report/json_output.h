#pragma once

#include <string>

#include "report/judge.h"
#include "report/page_model.h"

namespace kestrune::report {

/// Verdict, checks, episodes and figures as one JSON object, by the schema in docs/report.md; with a newline
/// at its end.
std::string JsonText(const Judgement& judgement, const Heading& heading);

}  // namespace kestrune::report
