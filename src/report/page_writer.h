#pragma once

#include <cstddef>
#include <kainjow/mustache.hpp>
#include <string>
#include <string_view>

#include "report/page_data.h"
#include "report/recording.h"
#include "report/stability.h"

namespace kestrune::report {

/// The parts of the page that were joined when the program was built.
struct PageParts {
  std::string_view page;  ///< a mustache template
  std::string_view style;
  std::string_view script;
  std::string_view scriptHash;  ///< as the content security policy has it
};

/// A page that is larger holds less of the finer levels instead. That of a day holds every second however
/// noisy they are, which is seldom more than it would be for a month.
inline constexpr std::size_t mostPageBytes = 1'990'000;
inline constexpr std::size_t mostPageBytesOfDay = 5'000'000;

/// The whole page. `model` has what the template shows; what the script needs is put between.
std::string RenderPage(const PageParts& parts, kainjow::mustache::data model, const Recording& recording,
                       const Stability& stability, const SideSeries& side, const PageFacts& facts);

}  // namespace kestrune::report
