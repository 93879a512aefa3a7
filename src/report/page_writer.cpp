#include "report/page_writer.h"

#include <algorithm>

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

std::string Render(const PageParts& parts, kainjow::mustache::data& model, const PageData& data) {
  model.set("metaJson", data.json);
  model.set("dataBase64", Base64(data.chunks));
  kainjow::mustache::mustache page{std::string(parts.page)};
  return page.render(model);
}

}  // namespace

std::string RenderPage(const PageParts& parts, kainjow::mustache::data& model, const Recording& recording,
                       const Stability& stability, const SideSeries& side, const PageFacts& facts) {
  model.set("css", std::string(parts.style));
  model.set("script", std::string(parts.script));
  model.set("scriptHash", std::string(parts.scriptHash));
  model.set("overviewSvg", OverviewSvg(recording));
  const std::size_t texts =
      Render(parts, model, MakePageData(recording, stability, facts, {})).size() + directoryRoom;
  const std::size_t most = MostBytes(recording);
  const std::size_t left = most - std::min(texts, most);
  // Base64 makes four bytes of three.
  const std::size_t room = std::max(leastRoom, left / 4 * 3);
  return Render(
      parts, model,
      MakePageData(recording, stability, facts, BuildLevels(recording, side, facts.episodes, room)));
}

}  // namespace kestrune::report
