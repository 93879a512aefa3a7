#include "report/histogram.h"

#include <bit>
#include <cmath>

namespace kestrune::report {

std::size_t Histogram::IndexOf(std::uint64_t magnitude) {
  if (magnitude < exactBelow) return static_cast<std::size_t>(magnitude);
  const auto shift = static_cast<std::uint64_t>(std::bit_width(magnitude) - std::bit_width(binsPerPower));
  const std::uint64_t bin = exactBelow + (shift - 1) * binsPerPower + ((magnitude >> shift) - binsPerPower);
  return static_cast<std::size_t>(bin);
}

double Histogram::LowOf(std::size_t index) {
  if (index < exactBelow) return static_cast<double>(index);
  const std::size_t beyond = index - exactBelow;
  return std::ldexp(static_cast<double>(binsPerPower + beyond % binsPerPower),
                    static_cast<int>(beyond / binsPerPower) + 1);
}

double Histogram::MiddleOf(std::size_t index) {
  return index < exactBelow ? static_cast<double>(index) : (LowOf(index) + LowOf(index + 1)) / 2;
}

void Histogram::AddAnywhere(std::int64_t value) {
  auto& side = value < 0 ? below_ : above_;
  const std::size_t index = IndexOf(Magnitude(value));
  if (index >= side.size()) side.resize(index + 256);
  ++side[index];
  ++count_;
}

double Histogram::Percentile(double share) const {
  const double wanted = share * static_cast<double>(count_);
  double seen = 0;
  for (std::size_t i = below_.size(); i-- > 0;) {
    seen += static_cast<double>(below_[i]);
    if (below_[i] > 0 && seen >= wanted) return -MiddleOf(i);
  }
  for (std::size_t i = 0; i < above_.size(); ++i) {
    seen += static_cast<double>(above_[i]);
    if (above_[i] > 0 && seen >= wanted) return MiddleOf(i);
  }
  return 0;
}

std::uint64_t Histogram::CountBeyond(std::int64_t limit) const {
  std::uint64_t count = 0;
  const std::size_t first = IndexOf(static_cast<std::uint64_t>(limit)) + 1;
  for (const auto* side : {&below_, &above_}) {
    for (std::size_t i = first; i < side->size(); ++i) count += (*side)[i];
  }
  return count;
}

std::vector<Histogram::Bin> Histogram::Bins() const {
  std::vector<Bin> bins;
  // Below zero, a bin's ends change places, and the end that belongs to it is the other one.
  for (std::size_t i = below_.size(); i-- > 0;) {
    if (below_[i] > 0) bins.push_back({1 - LowOf(i + 1), 1 - LowOf(i), below_[i]});
  }
  for (std::size_t i = 0; i < above_.size(); ++i) {
    if (above_[i] > 0) bins.push_back({LowOf(i), LowOf(i + 1), above_[i]});
  }
  return bins;
}

}  // namespace kestrune::report
