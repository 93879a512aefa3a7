#pragma once

#include <string>
#include <string_view>

#include "report/judge.h"

namespace kestrune::report {

/// The verdict, its reasons and the worst moments for a console: at most ten lines of ASCII, each ended.
std::string SummaryText(const Judgement& judgement, std::string_view name);

}  // namespace kestrune::report
