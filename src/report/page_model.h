#pragma once

#include <cstdint>
#include <kainjow/mustache.hpp>
#include <string>

#include "report/judge.h"

namespace kestrune::report {

/// What the outputs say about themselves.
struct Heading {
  std::string name;   ///< the run's, as the files are called
  std::string label;  ///< the user's; may be empty
  std::string version;
  std::int64_t generated = 0;  ///< epoch seconds
  FileNames files;
};

/// The most rows of a list on the page, and of a list on paper; the page says how many there were.
inline constexpr std::size_t longestPageList = 500;
inline constexpr std::size_t longestPaperList = 40;
inline constexpr std::size_t mostPaperIncidents = 80;
inline constexpr std::size_t mostPaperDays = 62;

/// Everything of the page's template that is text. The drawing, the chart's data and the scripts are the page
/// writer's.
kainjow::mustache::data MakePageModel(const Judgement& judgement, const Heading& heading);

}  // namespace kestrune::report
