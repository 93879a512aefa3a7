#include "report/unit_sums.h"

#include <algorithm>

#include "report/record.h"

namespace kestrune::report {

void FigureTotals::Add(const PerformanceMonitoring& record) {
  AddGroup(groups_[0], record.numberOfSyncSinceLastTelemetry,
           {&record.masterToFollowerDelay, &record.originTimestampJitter, &record.offsetFromMaster});
  AddGroup(groups_[1], record.numberOfDelayRespSinceLastTelemetry,
           {&record.meanPathDelay, &record.followerToMasterDelay, &record.delayReqToDelayRespDelay});
}

void FigureTotals::AddGroup(Group& group, std::int32_t messages,
                            const std::array<const QuantityFigures*, quantitiesPerGroup>& figures) {
  if (messages <= 0) return;
  const auto count = static_cast<double>(messages);
  const double share = 1 / count;
  if (group.messages == 0) {
    for (std::size_t i = 0; i < quantitiesPerGroup; ++i)
      group.totals[i].about = ToNanoseconds(figures[i]->sum) / messages;
  }
  group.messages += messages;
  for (std::size_t i = 0; i < quantitiesPerGroup; ++i)
    AddQuantity(group.totals[i], count, share, *figures[i]);
}

inline void FigureTotals::AddQuantity(Totals& totals, double messages, double share,
                                      const QuantityFigures& figures) {
  const double sum =
      static_cast<double>(ToNanoseconds(figures.sum)) - static_cast<double>(totals.about) * messages;
  totals.sum += sum;
  totals.between += sum * sum * share;
  totals.within += static_cast<double>(ToNanoseconds(figures.summedSquaredDeviation));
  totals.least = std::min(totals.least, ToNanoseconds(figures.minimum));
  totals.greatest = std::max(totals.greatest, ToNanoseconds(figures.maximum));
}

Stat FigureTotals::Of(Quantity quantity) const {
  const Group& group = groups_[quantity / quantitiesPerGroup];
  if (group.messages == 0) return {};
  const Totals& totals = group.totals[quantity % quantitiesPerGroup];
  const auto messages = static_cast<double>(group.messages);
  const double average = totals.sum / messages;
  return {group.messages, static_cast<double>(totals.about) + average,
          std::max(0.0, totals.between - totals.sum * average) + std::max(0.0, totals.within), totals.least,
          totals.greatest};
}

GroupSample FigureTotals::SampleOf(const Group& group) {
  GroupSample sample{static_cast<std::int32_t>(group.messages), {}};
  for (std::size_t i = 0; i < quantitiesPerGroup; ++i) {
    const Totals& totals = group.totals[i];
    const auto messages = static_cast<double>(group.messages);
    sample.quantities[i] = {static_cast<double>(totals.about) * messages + totals.sum,
                            static_cast<double>(totals.least), static_cast<double>(totals.greatest),
                            totals.within};
  }
  return sample;
}

PerformanceSample FigureTotals::Sample() const { return {SampleOf(groups_[0]), SampleOf(groups_[1])}; }

void RateTotals::Add(std::uint64_t value) {
  const auto rate = static_cast<std::int64_t>(std::min<std::uint64_t>(value, INT64_MAX));
  sum += static_cast<double>(rate);
  least = std::min(least, rate);
  greatest = std::max(greatest, rate);
}

void UnitSums::Add(const RawDataUnit& unit) {
  const TelemetryRecord& record = unit.record;
  if (records++ == 0) first = unit.epochTime;
  last = unit.epochTime;
  const bool isLocked = record.state == followerLocked;
  locked += isLocked ? 1 : 0;
  figures[isLocked ? 1 : 0].Add(record.performanceMonitoring);
  transmitRate.Add(record.linkTransmitRate);
  receiveRate.Add(record.linkReceiveRate);
}

void UnitFeed::Add(const RawDataUnit& unit) {
  Sfp& sfp = sfps_[unit.record.sfp];
  const std::int64_t stamp = unit.epochTime;
  if (stamp < sfp.together.from || stamp >= sfp.together.to) {
    Tell(unit.record.sfp);
    sfp.together = Together(unit.record.sfp, stamp);
  }
  sfp.sums.Add(unit);
}

void UnitFeed::Tell(std::size_t sfp) {
  UnitSums& sums = sfps_[sfp].sums;
  if (sums.records == 0) return;
  for (UnitObserver* observer : observers_) observer->OnUnits(static_cast<int>(sfp), sums);
  sums = {};
}

/// Empty when the unit of this stamp is to be told by itself.
Stretch UnitFeed::Together(int sfp, std::int64_t stamp) const {
  Stretch together{INT64_MIN, INT64_MAX};
  for (const UnitObserver* observer : observers_) {
    const Stretch stretch = observer->Together(sfp, stamp);
    together = {std::max(together.from, stretch.from), std::min(together.to, stretch.to)};
  }
  return together;
}

void UnitFeed::Finish() {
  for (std::size_t sfp = 0; sfp < sfpCount; ++sfp) Tell(sfp);
}

}  // namespace kestrune::report
