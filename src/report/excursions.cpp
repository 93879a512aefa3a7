#include "report/excursions.h"

#include <algorithm>
#include <cmath>

namespace kestrune::report {
namespace {

void Join(Excursion& left, const Excursion& right) {
  left.to = std::max(left.to, right.to);
  left.seconds += right.seconds;
  if (std::fabs(right.worst) > std::fabs(left.worst)) {
    left.worst = right.worst;
    left.worstAt = right.worstAt;
  }
}

}  // namespace

void Excursions::Add(std::int64_t time, std::int64_t width, double value) {
  const Excursion added{time, time + width, value, time, width};
  if (!all_.empty() && time >= all_.back().from && time - all_.back().to <= tolerance_) {
    Join(all_.back(), added);
    return;
  }
  all_.push_back(added);
  if (all_.size() > limit) JoinNeighbours();
}

void Excursions::JoinNeighbours() {
  while (all_.size() > limit / 2) {
    tolerance_ = std::max<std::int64_t>(2 * tolerance_, 1);
    std::vector<Excursion> joined;
    for (const Excursion& excursion : all_) {
      // Those from before the clock was set back come first and aren't neighbours, unless they are all too
      // many.
      const std::int64_t distance = joined.empty() ? INT64_MAX : std::abs(excursion.from - joined.back().to);
      if (distance <= tolerance_) {
        Join(joined.back(), excursion);
      } else {
        joined.push_back(excursion);
      }
    }
    all_ = std::move(joined);
  }
}

void SpanCursor::Seek(std::int64_t time) {
  while (next_ > 0 && time < spans_[next_ - 1].to) --next_;
  while (next_ < spans_.size() && time >= spans_[next_].to) ++next_;
  const bool isLast = next_ == spans_.size();
  covers_ = !isLast && time >= spans_[next_].from;
  if (covers_) {
    since_ = spans_[next_].from;
    until_ = spans_[next_].to;
  } else {
    since_ = next_ > 0 ? spans_[next_ - 1].to : INT64_MIN;
    until_ = isLast ? INT64_MAX : spans_[next_].from;
  }
}

}  // namespace kestrune::report
