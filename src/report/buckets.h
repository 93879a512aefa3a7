#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

namespace kestrune::report {

inline constexpr int sfpCount = 2;

/// The quantities of a telemetry record. The first three are weighed by its Sync messages, the others by its
/// Delay_Resp messages.
enum Quantity : std::uint8_t {
  toFollower,    ///< delay from the master to the follower
  originJitter,  ///< jitter of the origin time stamps
  offset,        ///< offset from the master
  pathDelay,     ///< mean path delay
  toMaster,      ///< delay from the follower to the master
  reqToResp,     ///< time from Delay_Req to Delay_Resp
  quantityCount
};

/// The nearest whole number, halves away from 0. At most 2^62 on either side.
inline std::int64_t Rounded(double value) {
  const auto whole = static_cast<std::int64_t>(value);
  const double rest = value - static_cast<double>(whole);
  return whole + (rest >= 0.5 ? 1 : 0) - (rest <= -0.5 ? 1 : 0);
}

/// Count, average, spread and exact extremes of weighed samples; merges without loss of the extremes.
struct Stat {
  std::int64_t count = 0;  ///< messages; 0: nothing was measured, and nothing else here means anything
  double mean = 0;
  double m2 = 0;  ///< summed squared deviation from `mean`
  std::int64_t least = std::numeric_limits<std::int64_t>::max();
  std::int64_t greatest = std::numeric_limits<std::int64_t>::min();

  /// Of `messages` > 0 samples with this sum, these extremes and this summed squared deviation from their own
  /// average.
  static Stat Of(std::int64_t messages, double sum, std::int64_t low, std::int64_t high,
                 double squaredDeviation) {
    return {messages, sum / static_cast<double>(messages), std::max(0.0, squaredDeviation), low, high};
  }
  /// Adds one sample.
  void Add(std::int64_t value) { Merge({1, static_cast<double>(value), 0, value, value}); }
  void Merge(const Stat& other) {
    if (other.count == 0) return;
    const auto before = static_cast<double>(count);
    const auto added = static_cast<double>(other.count);
    const double share = added / (before + added);
    const double distance = other.mean - mean;
    mean += distance * share;
    m2 += other.m2 + distance * distance * before * share;
    count += other.count;
    least = std::min(least, other.least);
    greatest = std::max(greatest, other.greatest);
  }
  double StandardDeviation() const;
  /// Whichever extreme is farther from 0; 0 without samples.
  std::int64_t Worst() const;
};

/// One SFP's telemetry over a stretch of time: a second, or any number of them merged. The length isn't in
/// it.
struct Bucket {
  std::int64_t start = 0;     ///< first second, epoch
  std::uint32_t records = 0;  ///< 0: no telemetry
  std::uint32_t locked = 0;   ///< of these, records in the state follower locked
  std::uint32_t syncs = 0;    ///< Sync messages measured
  std::uint32_t syncsDue =
      0;  ///< by the interval in force, in records of a port that has a master (states 8 to 10)
  std::uint32_t resps = 0;  ///< Delay_Resp messages measured
  std::uint32_t respsDue = 0;
  std::uint32_t followUps = 0;     ///< Follow_Up messages received, by the card's counter
  std::uint32_t followUpsDue = 0;  ///< Sync messages received by the card's counter, two-step only
  std::uint32_t announces = 0;     ///< Announce messages of the best master, by the card's counters
  std::uint32_t announcesDue = 0;  ///< in sixteenths of a message, as many intervals are longer than a second
  std::uint32_t discarded = 0;     ///< messages the card discarded
  std::uint32_t linkErrors = 0;    ///< packets received with errors
  std::uint32_t linkDrops = 0;     ///< packets that were to be sent and were dropped
  std::uint32_t worstSecondAt = 0;  ///< of `worstSecond`, in seconds from `start`
  double worstSecond = 0;  ///< the average offset farthest from 0 of a locked second, ns; 0 without one
  Stat offset;             ///< ns; count = syncs
  Stat path;               ///< mean path delay, ns; count = resps

  /// Adds a bucket of the same SFP; `start` stays, so that it may be set to the wider bucket's before.
  void Merge(const Bucket& other);
};

/// The difference of the two SFPs' average offsets, A − B, second by second, in tenths of a nanosecond. Only
/// seconds in which both measured and had the same grandmaster. Count = seconds.
struct DifferenceBucket {
  std::int64_t start = 0;
  Stat all;
  Stat locked;  ///< seconds in which both were follower locked

  void Merge(const DifferenceBucket& other);
};

}  // namespace kestrune::report
