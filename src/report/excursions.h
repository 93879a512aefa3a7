#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "report/recording.h"

namespace kestrune::report {

/// Neighbouring seconds or minutes that have something in common.
struct Excursion {
  std::int64_t from = 0;
  std::int64_t to = 0;       ///< first second beyond it
  double worst = 0;          ///< the value farthest from 0
  std::int64_t worstAt = 0;  ///< its second
  std::int64_t seconds = 0;  ///< of these, how many had it
};

/// Joins what lies close together. However much is added, few thousand excursions stay: when they are too
/// many, those farther apart are joined too.
class Excursions {
 public:
  static constexpr std::size_t limit = 4096;

  /// Seconds that lie no farther apart than `tolerance` are one excursion.
  explicit Excursions(std::int64_t tolerance) : tolerance_(tolerance) {}

  /// `width` seconds from `time` on have this value. Times in rising order; one that isn't begins anew.
  void Add(std::int64_t time, std::int64_t width, double value);
  const std::vector<Excursion>& All() const { return all_; }

 private:
  void JoinNeighbours();

  std::vector<Excursion> all_;
  std::int64_t tolerance_;
};

/// Where runs have a value for which `is` holds, each widened by `margin` on both sides; the last run is
/// endless.
template <typename Is>
std::vector<Stretch> SpansWhere(const Runs& runs, std::int64_t margin, Is is) {
  std::vector<Stretch> spans;
  const std::vector<Run>& all = runs.All();
  for (std::size_t i = 0; i < all.size(); ++i) {
    if (!is(all[i].value)) continue;
    const std::int64_t from = all[i].from - margin;
    const std::int64_t to = i + 1 < all.size() ? all[i + 1].from + margin : INT64_MAX;
    if (!spans.empty() && spans.back().to >= from) {
      spans.back().to = to;
    } else {
      spans.push_back({from, to});
    }
  }
  return spans;
}

/// Asks spans for one second after the other, cheaply as long as the seconds rise.
class SpanCursor {
 public:
  explicit SpanCursor(std::vector<Stretch> spans) : spans_(std::move(spans)) {}
  bool Covers(std::int64_t time) {
    if (time < since_ || time >= until_) Seek(time);
    return covers_;
  }

 private:
  void Seek(std::int64_t time);

  std::vector<Stretch> spans_;
  std::size_t next_ = 0;
  // What holds in [since_, until_); nowhere yet.
  std::int64_t since_ = 0;
  std::int64_t until_ = 0;
  bool covers_ = false;
};

/// The value of runs at one second after the other, cheaply as long as the seconds rise.
class RunCursor {
 public:
  explicit RunCursor(const Runs& runs) : runs_(&runs) {}
  /// `before` in front of the first run.
  std::int32_t At(std::int64_t time, std::int32_t before) {
    const std::vector<Run>& all = runs_->All();
    while (behind_ > 0 && time < all[behind_ - 1].from) --behind_;
    while (behind_ < all.size() && time >= all[behind_].from) ++behind_;
    return behind_ == 0 ? before : all[behind_ - 1].value;
  }

 private:
  const Runs* runs_;
  std::size_t behind_ = 0;
};

/// Calls tell(from, to, values) for each stretch of [begin, end) in which none of several runs changes; 0 in
/// front of a first run.
template <std::size_t N, typename Tell>
void ForEachCommonRun(const std::array<const Runs*, N>& runs, std::int64_t begin, std::int64_t end,
                      Tell tell) {
  std::array<std::size_t, N> next{};
  std::array<std::int32_t, N> values{};
  for (std::int64_t from = begin; from < end;) {
    std::int64_t to = end;
    for (std::size_t k = 0; k < N; ++k) {
      const std::vector<Run>& all = runs[k]->All();
      for (; next[k] < all.size() && all[next[k]].from <= from; ++next[k]) values[k] = all[next[k]].value;
      if (next[k] < all.size()) to = std::min<std::int64_t>(to, all[next[k]].from);
    }
    tell(from, to, values);
    from = to;
  }
}

}  // namespace kestrune::report
