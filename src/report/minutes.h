#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "report/buckets.h"
#include "report/excursions.h"

namespace kestrune::report {

inline constexpr std::int64_t minuteLength = 60;

/// The minute, as epoch seconds, in which a second lies.
constexpr std::int64_t MinuteOf(std::int64_t time) {
  return time - (time % minuteLength + minuteLength) % minuteLength;
}

inline constexpr std::int64_t dayLength = 86400;

/// The day (UTC), as epoch seconds of its begin, in which a second lies.
constexpr std::int64_t DayOf(std::int64_t time) { return time - (time % dayLength + dayLength) % dayLength; }

/// Does a second lie in the minute that begins at `minute`? Quicker than `MinuteOf`.
constexpr bool IsInMinute(std::int64_t time, std::int64_t minute) {
  return time >= minute && time - minute < minuteLength;
}

/// The median of each minute's values. Seconds in rising order; one that lies back begins a new minute.
class MinuteMedians {
 public:
  struct Minute {
    std::uint32_t start;  ///< epoch seconds; small, as every minute has one
    float median;
  };

  /// A value comes every 2^`logInterval` seconds, or every second where that is less.
  void Add(std::int64_t time, double value, std::int32_t logInterval);
  /// Ends the last minute. A minute with less than half of its values, or with less than four, has no median.
  void Finish();
  const std::vector<Minute>& All() const { return all_; }

 private:
  std::int64_t least_ = 0;  ///< values that the minute needs
  std::vector<Minute> all_;
  std::vector<double> values_;
  std::int64_t minute_ = 0;
};

/// How far the medians of minutes are from the median of their own day (UTC).
struct DayDeviation {
  bool measured = false;
  double worst = 0;          ///< share, the farthest from 0: 0.2 is 20 % more than the day's
  std::int64_t worstAt = 0;  ///< minute
  double worstMedian = 0;    ///< ns
  double dayMedian = 0;      ///< of its day, ns
  Excursions beyond{2 * minuteLength};
};

/// `limit` is the share from which minutes are kept as excursions.
DayDeviation DeviationFromDay(const std::vector<MinuteMedians::Minute>& minutes, double limit);

/// Kinds of messages that can go missing.
enum MessageKind : std::uint8_t {
  syncMessage,
  followUpMessage,
  delayRespMessage,
  announceMessage,
  messageKinds
};

struct MessageTally {
  double due = 0;
  double got = 0;

  double Missing() const { return due > got ? due - got : 0; }
  double MissingShare() const { return due > 0 ? Missing() / due : 0; }
};

using MessageTallies = std::array<MessageTally, messageKinds>;

/// By kind, what of messages was due and what came, as whole numbers: quick to add up. Announce messages are
/// due in sixteenths.
template <typename Count>
struct MessageSums {
  std::array<Count, messageKinds> due{};
  std::array<Count, messageKinds> got{};

  template <typename OtherCount>
  void Add(const MessageSums<OtherCount>& added) {
    for (std::size_t kind = 0; kind < messageKinds; ++kind) due[kind] += added.due[kind];
    for (std::size_t kind = 0; kind < messageKinds; ++kind) got[kind] += added.got[kind];
  }
};
using SecondMessages = MessageSums<std::uint32_t>;

inline SecondMessages MessagesOf(const Bucket& second) {
  return {{second.syncsDue, second.followUpsDue, second.respsDue, second.announcesDue},
          {second.syncs, second.followUps, second.resps, second.announces}};
}

void Add(MessageTallies& sum, const MessageSums<std::uint64_t>& added);

/// One SFP's messages in the whole, and the minutes in which many were missing.
class LossTracker {
 public:
  void Add(std::int64_t time, const SecondMessages& second) {
    if (!IsInMinute(time, minute_)) Begin(time);
    inMinute_.Add(second);
  }
  void Finish();

  const MessageTallies& All() const { return all_; }
  /// Minutes that lack 1 % and at least 5 messages; the value is the share of the kind.
  const Excursions& Minutes(MessageKind kind) const { return minutes_[kind]; }
  /// The one that lacks most messages; meaningless where none is missing.
  const Excursion& WorstMinute(MessageKind kind) const { return worst_[kind]; }

 private:
  void Begin(std::int64_t time);

  MessageTallies all_;
  MessageSums<std::uint64_t> inMinute_;
  std::int64_t minute_ = 0;
  std::array<Excursions, messageKinds> minutes_ = {Excursions(120), Excursions(120), Excursions(120),
                                                   Excursions(120)};
  std::array<Excursion, messageKinds> worst_;
  std::array<double, messageKinds> mostMissing_{};
};

/// The average difference of the SFPs' offsets, A − B, minute by minute.
class DifferenceTracker {
 public:
  /// `limit` in ns: minutes beyond it are kept as excursions.
  explicit DifferenceTracker(double limit) : limit_(limit) {}

  /// A second in which both measured, on the same grandmaster, while the card was in lock.
  void Add(std::int64_t time, double difference, bool bothLocked);
  void Finish();

  struct Figures {
    std::int64_t seconds = 0;
    double sum = 0;  ///< of the seconds' differences, ns
    std::int64_t minutes = 0;
    double worst = 0;  ///< of the minutes' averages, ns, the farthest from 0
    std::int64_t worstAt = 0;

    double Average() const { return seconds > 0 ? sum / static_cast<double>(seconds) : 0; }
  };
  const Figures& Locked() const { return locked_; }
  const Figures& Unlocked() const { return unlocked_; }
  const Excursions& Minutes() const { return beyond_; }

 private:
  double limit_;
  std::int64_t minute_ = 0;
  std::int64_t seconds_ = 0;
  std::int64_t lockedSeconds_ = 0;
  double sum_ = 0;
  Figures locked_;
  Figures unlocked_;
  Excursions beyond_{minuteLength};
};

}  // namespace kestrune::report
