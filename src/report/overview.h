#pragma once

#include <string>

#include "report/recording.h"

namespace kestrune::report {

/// The whole recording as a drawing (SVG), for readers without scripts: for each SFP the least and greatest
/// offset and the seconds out of lock.
std::string OverviewSvg(const Recording& recording);

}  // namespace kestrune::report
