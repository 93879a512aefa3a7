#include "report/histogram.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace kestrune::report {

std::int64_t Histogram::IndexOf(std::uint64_t magnitude) {
  if (magnitude < exactBelow) return static_cast<std::int64_t>(magnitude);
  const auto shift = static_cast<std::uint64_t>(std::bit_width(magnitude) - std::bit_width(binsPerPower));
  return static_cast<std::int64_t>(exactBelow + (shift - 1) * binsPerPower +
                                   ((magnitude >> shift) - binsPerPower));
}

double Histogram::LowOf(std::int64_t index) {
  if (index < static_cast<std::int64_t>(exactBelow)) return static_cast<double>(index);
  const std::uint64_t beyond = static_cast<std::uint64_t>(index) - exactBelow;
  return std::ldexp(static_cast<double>(binsPerPower + beyond % binsPerPower),
                    static_cast<int>(beyond / binsPerPower) + 1);
}

double Histogram::MiddleOf(std::int64_t index) {
  if (index < 0) return -MiddleOf(-index);
  const bool isExact = index < static_cast<std::int64_t>(exactBelow);
  return isExact ? static_cast<double>(index) : (LowOf(index) + LowOf(index + 1)) / 2;
}

std::uint32_t& Histogram::CountFor(std::int64_t value) {
  constexpr std::int64_t more = 256;
  const std::int64_t index = IndexOf(Magnitude(value)) * (value < 0 ? -1 : 1);
  if (index + origin_ < 0) {
    const std::int64_t missing = more - (index + origin_);
    counts_.insert(counts_.begin(), static_cast<std::size_t>(missing), 0);
    origin_ += missing;
  } else if (index + origin_ >= End()) {
    counts_.resize(static_cast<std::size_t>(index + origin_ + more));
  }
  return counts_[static_cast<std::size_t>(index + origin_)];
}

double Histogram::Percentile(double share) const {
  const double wanted = share * static_cast<double>(count_);
  double seen = 0;
  for (std::int64_t i = 0; i < End(); ++i) {
    const std::uint32_t count = counts_[static_cast<std::size_t>(i)];
    seen += static_cast<double>(count);
    if (count > 0 && seen >= wanted) return MiddleOf(i - origin_);
  }
  return 0;
}

std::uint64_t Histogram::CountBeyond(std::int64_t limit) const {
  std::uint64_t count = 0;
  const std::int64_t last = IndexOf(static_cast<std::uint64_t>(limit));
  for (std::int64_t i = 0; i < End(); ++i) {
    if (std::llabs(i - origin_) > last) count += counts_[static_cast<std::size_t>(i)];
  }
  return count;
}

std::vector<Histogram::Bin> Histogram::Bins() const {
  std::vector<Bin> bins;
  for (std::int64_t i = 0; i < End(); ++i) {
    const std::int64_t index = i - origin_;
    const std::uint64_t count = counts_[static_cast<std::size_t>(i)];
    if (count == 0) continue;
    if (index >= 0) {
      bins.push_back({LowOf(index), LowOf(index + 1), count});
    } else {  // the ends change places, and the end that belongs to it is the other one
      bins.push_back({1 - LowOf(1 - index), 1 - LowOf(-index), count});
    }
  }
  return bins;
}

}  // namespace kestrune::report
