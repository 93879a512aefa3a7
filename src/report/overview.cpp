#include "report/overview.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

#include "report/bucket_series.h"
#include "report/texts.h"

namespace kestrune::report {
namespace {

constexpr double width = 1200;
constexpr double laneHeight = 90;
constexpr double labelWidth = 80;
constexpr double laneGap = 24;
constexpr double margin = 10;  // above the first lane
constexpr double axisHeight = 24;
constexpr std::size_t mostColumns = 570;
constexpr double linearTo = 100;  // ns; logarithmic beyond
constexpr double highest = 1e6;   // ns; what lies beyond is drawn at the edge

/// -1 to 1 for a value in nanoseconds.
double Height(double value) {
  const auto size = [](double v) { return v <= linearTo ? v / linearTo : 1 + std::log10(v / linearTo); };
  return std::copysign(std::min(1.0, size(std::fabs(value)) / size(highest)), value);
}

template <typename... Values>
void Append(std::string& svg, const char* format, Values... values) {
  char text[300];
  std::snprintf(text, sizeof text, format, values...);
  svg += text;
}

double PlaceOf(const Recording& recording, std::int64_t time) {
  const auto span = static_cast<double>(std::max<std::int64_t>(1, recording.end - recording.base));
  return labelWidth + (width - labelWidth) * static_cast<double>(time - recording.base) / span;
}

double PlaceOf(double value, double top) { return top + laneHeight / 2 * (1 - Height(value)); }

void DrawScale(std::string& svg, double top) {
  for (const double value : {-1e6, -1000.0, 0.0, 1000.0, 1e6}) {
    const double y = PlaceOf(value, top);
    Append(svg, "<line x1='%g' x2='%g' y1='%.1f' y2='%.1f' stroke='currentColor' stroke-opacity='.25'/>",
           labelWidth, width, y, y);
    const char* label = value == 0                ? "0"
                        : std::fabs(value) > 1000 ? (value < 0 ? "\u22121 ms" : "1 ms")
                                                  : (value < 0 ? "\u22121 \u00b5s" : "1 \u00b5s");
    Append(svg, "<text x='%g' y='%.1f' font-size='9' text-anchor='end' fill='currentColor'>%s</text>",
           labelWidth - 4, y + 3, label);
  }
}

void DrawSfp(const Recording& recording, std::size_t k, std::int64_t columnWidth, double top,
             std::string& svg) {
  Append(svg, "<text x='2' y='%.1f' font-size='11' font-weight='bold' fill='currentColor'>%s</text>",
         top + laneHeight / 2 + 4, k == 0 ? "SFP A" : "SFP B");
  DrawScale(svg, top);
  const double column =
      std::max(1.0, PlaceOf(recording, recording.base + columnWidth) - PlaceOf(recording, recording.base));
  std::string values;
  std::string unlocked;
  for (const Bucket& bucket : MergedBuckets(recording.sfp[k].buckets, columnWidth)) {
    const double middle = PlaceOf(recording, bucket.start) + column / 2;
    if (bucket.locked < bucket.records) Append(unlocked, "M%.1f %gv4", middle, top + laneHeight);
    if (bucket.syncs == 0) continue;
    const double high = PlaceOf(static_cast<double>(bucket.offset.greatest), top);
    const double low = PlaceOf(static_cast<double>(bucket.offset.least), top);
    Append(values, "M%.1f %.1fv%.1f", middle, high, std::max(0.6, low - high));
  }
  Append(svg, "<g fill='none' stroke-width='%.1f'><path stroke='%s' d='", column,
         k == 0 ? "#2a6fb0" : "#8a5a00");
  svg += values + "'/><path stroke='#c33' d='" + unlocked + "'/></g>";
}

/// Round moments, UTC, as far apart as their names need.
void DrawTimes(const Recording& recording, double top, std::string& svg) {
  constexpr std::int64_t mostNames = 10;
  std::int64_t step = 60;
  while ((recording.end - recording.base) / step >= mostNames) step = WiderBucket(step);
  Append(svg, "<text x='2' y='%g' font-size='9' fill='currentColor'>UTC</text>", top + 12);
  for (std::int64_t time = recording.base; time < recording.end; time += step) {
    const double x = PlaceOf(recording, time);
    if (x > width - 80) break;
    Append(svg, "<path d='M%.1f %gv5' stroke='currentColor'/>", x, top);
    Append(svg, "<text x='%.1f' y='%g' font-size='9' fill='currentColor'>%s</text>", x + 3, top + 12,
           TimeText(time).substr(0, 16).c_str());
  }
}

}  // namespace

std::string OverviewSvg(const Recording& recording) {
  std::int64_t columnWidth = recording.bucketWidth;
  while ((recording.end - recording.base) / columnWidth >= static_cast<std::int64_t>(mostColumns)) {
    columnWidth = WiderBucket(columnWidth);
  }
  const double lane = laneHeight + laneGap;
  std::string svg;
  Append(svg,
         "<svg viewBox='0 0 %g %g' role='img' aria-label='Offset from master of both SFPs over the whole "
         "recording'>",
         width, margin + lane * sfpCount + axisHeight);
  for (std::size_t k = 0; k < sfpCount; ++k)
    DrawSfp(recording, k, columnWidth, margin + lane * static_cast<double>(k), svg);
  if (recording.end > recording.base) DrawTimes(recording, margin + lane * sfpCount, svg);
  return svg + "</svg>";
}

}  // namespace kestrune::report
