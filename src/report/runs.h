#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kestrune::report {

/// A value from `from` on, until the next run. Small, for there may be very many.
struct Run {
  std::uint32_t from = 0;  ///< epoch seconds, up to 2106
  std::int32_t value = 0;

  bool operator==(const Run&) const = default;
};

/// A value that changes with time. Holds at most `limit` runs; changes beyond are counted only.
class Runs {
 public:
  explicit Runs(std::size_t limit = 250'000) : limit_(limit) {}

  /// From `time` on the value is this. Times of rising order; one before the last run's is taken for the last
  /// run's.
  void Set(std::int64_t time, std::int32_t value) {
    if (runs_.empty() || runs_.back().value != value) Change(time, value);
  }
  /// The value at a time; `before` for one before the first run.
  std::int32_t At(std::int64_t time, std::int32_t before = 0) const;
  const std::vector<Run>& All() const { return runs_; }
  bool Empty() const { return runs_.empty(); }
  /// Changes that found no place.
  std::uint64_t Dropped() const { return dropped_; }

 private:
  void Change(std::int64_t time, std::int32_t value);

  std::vector<Run> runs_;
  std::uint64_t dropped_ = 0;
  std::size_t limit_;
};

}  // namespace kestrune::report
