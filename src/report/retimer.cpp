#include "report/retimer.h"

#include <algorithm>

namespace kestrune::report {

/// Gives the batch its seconds.
void Retimer::Settle() {
  if (batch_ == 0) return;
  const std::int64_t first = stamp_ - static_cast<std::int64_t>(batch_) + 1;
  if (last_ == noTime) last_ = std::max(first, earliest_) - 1;
  while (first > last_ + 1 && UseDouble()) ++last_;
  std::int64_t time = std::max(last_ + 1, first);
  for (; batch_ > 0; --batch_) {
    while (time > stamp_ && FillHole()) --time;
    // A second that has a record already gets another one: never do times go back.
    const std::int64_t before = held_ > 0 ? TimeOf(held_ - 1) : time;
    last_ = std::max(std::min(time, stamp_), std::min(before, stamp_ + backward));
    TimeOf(held_++) = last_;
    time = last_ + 1;
  }
}

bool Retimer::IsEven() const {
  for (std::size_t i = 1; i < held_; ++i) {
    if (TimeOf(i) != TimeOf(i - 1) + 1) return false;
  }
  return batch_ <= 1 && (batch_ == 0 || last_ == noTime || stamp_ == last_ + 1);
}

/// Moves the last record that shares its second, and those behind it, on by one. False when there's none.
bool Retimer::UseDouble() {
  for (std::size_t i = held_; i-- > 1;) {
    if (TimeOf(i) != TimeOf(i - 1)) continue;
    for (std::size_t j = i; j < held_; ++j) ++TimeOf(j);
    return true;
  }
  return false;
}

/// Moves those behind the last second without a record back by one. False when there's none.
bool Retimer::FillHole() {
  for (std::size_t i = held_; i-- > 0;) {
    const std::int64_t before = i > 0 ? TimeOf(i - 1) : emitted_;
    if (before == noTime || TimeOf(i) <= before + 1) continue;
    for (std::size_t j = i; j < held_; ++j) --TimeOf(j);
    return true;
  }
  return false;
}

}  // namespace kestrune::report
