#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "report/buckets.h"
#include "report/recording.h"

namespace kestrune::report {

/// What the page shows on demand besides offset and mean path delay. The first two are weighed by Sync
/// messages, the next two by Delay_Resp messages, the rates by records.
enum SideQuantity : std::uint8_t {
  sideToFollower,    ///< delay from the master to the follower, ns
  sideJitter,        ///< jitter of the origin time stamps, ns
  sideToMaster,      ///< delay from the follower to the master, ns
  sideReqToResp,     ///< time from Delay_Req to Delay_Resp, ns
  sideReceiveRate,   ///< of the link, bytes a second
  sideTransmitRate,  ///< of the link, bytes a second
  sideQuantityCount
};

/// One SFP's side quantities over a stretch of time, by the records' time stamps. No deviations are kept.
struct SideBucket {
  std::int64_t start = 0;  ///< epoch seconds
  std::int64_t records = 0;
  std::int64_t locked = 0;  ///< of these, in the state follower locked
  std::array<Stat, sideQuantityCount> figures;

  /// Adds a bucket of the same SFP; `start` stays.
  void Merge(const SideBucket& other);
};

/// Collects the side quantities while the raw data is read, at most `mostBuckets` and one for each SFP.
class SideSeries : public UnitObserver {
 public:
  static constexpr std::size_t mostBuckets = 8192;

  Stretch Together(int sfp, std::int64_t stamp) const override;
  void OnUnits(int sfp, const UnitSums& sums) override;
  /// Behind the last unit.
  void Finish();

  /// Seconds of a bucket; the same that `WiderBucket` makes of 60.
  std::int64_t Width() const { return width_; }
  /// Rising, only those with records.
  const std::vector<SideBucket>& Of(int sfp) const { return series_[static_cast<std::size_t>(sfp)]; }

 private:
  void Widen();

  std::int64_t width_ = 60;
  std::array<std::vector<SideBucket>, sfpCount> series_;
};

}  // namespace kestrune::report
