#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "report/page_levels.h"
#include "report/recording.h"
#include "report/stability.h"

namespace kestrune::report {

/// What the page's script needs beside the recording.
struct PageFacts {
  std::string name;
  double offsetWarn = 0;  ///< ns; 0 for none
  double offsetFail = 0;
  double differenceWarn = 0;  ///< of the SFPs' average offsets
  double differenceFail = 0;
  bool running = false;               ///< is the run still writing?
  std::vector<PageEpisode> episodes;  ///< in the order of the page's list
};

/// The page's data: a JSON text, and the chunks it tells of, one behind the other.
struct PageData {
  std::string json;  ///< fit for a script element: every "<" is escaped
  std::string chunks;
};

PageData MakePageData(const Recording& recording, const Stability& stability, const PageFacts& facts,
                      const std::vector<PageLevel>& levels);

/// Was the run that wrote these files still going on at this time?
bool IsRunning(const Recording& recording, std::int64_t now);

/// Runs as a page shows them: at most `most`. When there are more, short ones become part of the run before.
std::vector<Run> ThinRuns(const std::vector<Run>& runs, std::size_t most);

}  // namespace kestrune::report
