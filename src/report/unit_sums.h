#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <utility>
#include <vector>

#include "files/period_statistics.h"
#include "files/raw_data.h"
#include "report/buckets.h"
#include "report/recording.h"

namespace kestrune::report {

/// The figures of many records of one SFP, added up without a division for each quantity.
class FigureTotals {
 public:
  /// Figures that no message weighs are left out.
  void Add(const PerformanceMonitoring& record);
  Stat Of(Quantity quantity) const;
  /// As the recorder adds them up: records' own deviations only. Exact below 2^53 ns.
  PerformanceSample Sample() const;

 private:
  struct Totals {
    std::int64_t about = 0;  ///< some average, so that little is lost when squares are added
    double sum = 0;          ///< of the messages' differences from it
    double between = 0;      ///< squares of the records' average differences, each weighed by its messages
    double within = 0;       ///< the records' summed squared deviations
    std::int64_t least = std::numeric_limits<std::int64_t>::max();
    std::int64_t greatest = std::numeric_limits<std::int64_t>::min();
  };
  struct Group {
    std::int64_t messages = 0;
    std::array<Totals, quantitiesPerGroup> totals;
  };

  static void AddGroup(Group& group, std::int32_t messages,
                       const std::array<const QuantityFigures*, quantitiesPerGroup>& figures);
  static void AddQuantity(Totals& totals, double messages, double share, const QuantityFigures& figures);
  static GroupSample SampleOf(const Group& group);

  std::array<Group, 2> groups_;
};

/// A rate of the link in many records, bytes a second.
struct RateTotals {
  double sum = 0;
  std::int64_t least = std::numeric_limits<std::int64_t>::max();
  std::int64_t greatest = std::numeric_limits<std::int64_t>::min();

  void Add(std::uint64_t value);
  Stat Of(std::int64_t records) const { return Stat::Of(records, sum, least, greatest, 0); }
};

/// Units of one SFP that follow each other, added up.
struct UnitSums {
  std::int64_t first = 0;  ///< time stamps, epoch seconds
  std::int64_t last = 0;
  std::int64_t records = 0;
  std::int64_t locked = 0;              ///< of these, in the state follower locked
  std::array<FigureTotals, 2> figures;  ///< of records in other states, and of locked ones
  RateTotals transmitRate;
  RateTotals receiveRate;

  void Add(const RawDataUnit& unit);
};

/// Tells observers of units, added up as far as all of them allow: to add a record once is quicker than to
/// show it to each.
class UnitFeed {
 public:
  explicit UnitFeed(std::vector<UnitObserver*> observers) : observers_(std::move(observers)) {}

  /// A unit of SFP 0 or 1, in the order of the file.
  void Add(const RawDataUnit& unit);
  /// Behind the last unit.
  void Finish();

 private:
  struct Sfp {
    UnitSums sums;
    Stretch together;  ///< stamps of units that may join these
  };

  void Tell(std::size_t sfp);
  Stretch Together(int sfp, std::int64_t stamp) const;

  std::vector<UnitObserver*> observers_;
  std::array<Sfp, sfpCount> sfps_;
};

}  // namespace kestrune::report
