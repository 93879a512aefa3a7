#include "report/page_writer.h"

#include <algorithm>
#include <array>
#include <utility>

#include "report/overview.h"
#include "report/packing.h"
#include "report/page_levels.h"

namespace kestrune::report {
namespace {

/// Even a page whose texts alone are too large shows the recording.
constexpr std::size_t leastRoom = 60'000;
/// For the directory of the levels, which is known only when they are.
constexpr std::size_t directoryRoom = 30'000;

std::size_t MostBytes(const Recording& recording) {
  constexpr std::int64_t longestDay = 25 * 3600;  // with the change of clocks
  return recording.end - recording.first <= longestDay ? mostPageBytesOfDay : mostPageBytes;
}

/// What stands around the recording's data: before what the script has to know, between that and the levels,
/// behind these.
using Shell = std::array<std::string, 3>;

Shell RenderShell(std::string_view page, kainjow::mustache::data model) {
  Shell shell;
  const auto render = [&](std::string_view part) {
    return kainjow::mustache::mustache{std::string(part)}.render(model);
  };
  std::size_t part = 0;
  for (const std::string_view place : {"{{{metaJson}}}", "{{{dataBase64}}}"}) {
    const std::size_t at = page.find(place);
    shell[part++] = render(page.substr(0, at));
    page.remove_prefix(at + place.size());
  }
  shell[part] = render(page);
  return shell;
}

}  // namespace

std::string RenderPage(const PageParts& parts, kainjow::mustache::data model, const Recording& recording,
                       const Stability& stability, const SideSeries& side, const PageFacts& facts) {
  model.set("css", std::string(parts.style));
  model.set("script", std::string(parts.script));
  model.set("scriptHash", std::string(parts.scriptHash));
  model.set("overviewSvg", OverviewSvg(recording));
  // The model, which has a multiple of its texts' size, is gone before the levels are packed.
  const auto [head, middle, tail] = RenderShell(parts.page, std::move(model));
  const std::size_t texts = head.size() + middle.size() + tail.size() +
                            MakePageData(recording, stability, facts, {}).json.size() + directoryRoom;
  const std::size_t most = MostBytes(recording);
  const std::size_t left = most - std::min(texts, most);
  // Base64 makes four bytes of three.
  const std::size_t room = std::max(leastRoom, left / 4 * 3);
  const PageData data =
      MakePageData(recording, stability, facts, BuildLevels(recording, side, facts.episodes, room));
  return head + data.json + middle + Base64(data.chunks) + tail;
}

}  // namespace kestrune::report
