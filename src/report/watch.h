#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "report/excursions.h"
#include "report/limits.h"
#include "report/logged_states.h"
#include "report/minutes.h"
#include "report/recording.h"
#include "report/relocks.h"

namespace kestrune::report {

/// Records come in batches: an SFP without one for so many seconds isn't absent yet.
inline constexpr std::int64_t shortestAbsence = 3;

/// A day (UTC) in figures, in seconds. Start-up counts in `observed` only.
struct DayFigures {
  std::int64_t observed = 0;  ///< with a record of either SFP
  std::int64_t judged = 0;    ///< with an offset that was judged
  double worstOffset = 0;     ///< ns, the farthest from 0 of these
  std::int64_t worstOffsetAt = 0;
  int worstOffsetSfp = 0;
  std::array<std::int64_t, sfpCount> records{};  ///< with a record of this SFP
  std::array<std::int64_t, sfpCount> locked{};   ///< of these, locked throughout
  std::int64_t cardUnlocked = 0;
  std::int64_t notRedundant = 0;
  std::int64_t grandmasterChanges = 0;
  MessageTally syncs;  ///< Sync messages of both SFPs
};

/// The time until the first lock of a run; -1: never locked.
struct StartUp {
  std::int64_t from = 0;
  std::array<std::int64_t, sfpCount> sfp{-1, -1};
  std::int64_t card = -1;
};

/// An SFP's second, as the watch looks at it when the other SFP's is there too.
struct WatchedSample {
  std::int64_t time = 0;
  double offset = 0;  ///< average, ns; means nothing without Sync messages
  double path = 0;    ///< average, ns; means nothing without Delay_Resp messages
  SecondMessages messages;
  std::uint32_t syncs = 0;
  std::uint32_t resps = 0;
  std::int32_t master = 0;
  std::uint64_t grandmaster = 0;
  bool served = false;  ///< has a master whose messages are due
  bool locked = false;
};

/// What the watch found in a second with a record of either SFP.
struct WatchedSecond {
  std::int64_t time = 0;
  std::array<const WatchedSample*, sfpCount> sfp{};  ///< null: no record
  std::array<bool, sfpCount> messagesJudged{};       ///< are missing ones missing?
  std::array<bool, sfpCount> relocked{};             ///< locked again in this second
  bool cardLocked = false;
  bool cardUnlocked = false;  ///< counts as such: it isn't starting up
  int followed = 0;           ///< the SFP that the card follows
  bool grandmasterChanged = false;
  std::optional<double> judgedOffset;  ///< ns
  std::optional<double> difference;    ///< of the SFPs' offsets, A - B, ns
};

class WatchListener {
 public:
  virtual ~WatchListener() = default;
  /// Seconds in rising order but behind a clock that was set back.
  virtual void OnWatched(const WatchedSecond& second) = 0;
};

/// What a watch must know to go on behind the second that it looked at last.
struct WatchMemory {
  StartUp startUp;                                                ///< of the run under way
  std::array<std::int64_t, sfpCount> last{INT64_MIN, INT64_MIN};  ///< second with a record
  std::uint64_t followedGrandmaster = 0;
  std::array<std::uint64_t, sfpCount> servedBy{};  ///< grandmaster whose messages were due
  std::array<RelockMemory, sfpCount> relocks;
};

/// What is judged second by second, gathered while the raw data is read. Looks at the recording's event log,
/// which is complete by then, and at its masters, which grow meanwhile.
class Watch : public SecondObserver {
 public:
  /// The recording must outlive the watch, and so must the listener, if there is one.
  Watch(const Recording& recording, const Limits& limits, WatchListener* listener = nullptr);
  /// Goes on where another watch had got to. Before the first second, when the event log is complete.
  void Resume(const WatchMemory& memory);

  void OnSecond(int sfp, const Bucket& second, std::int32_t state, std::int32_t master) override;
  /// Looks at the seconds of an SFP that wait for the other's, which is not to come any more.
  void Settle();
  /// Of what was looked at so far; call `Settle` before.
  WatchMemory Memory() const;
  /// Ends what is still open; call it once, behind the last second. Afterwards the figures are complete.
  void Finish();

  const std::map<std::int64_t, DayFigures>& Days() const { return days_; }
  const std::vector<StartUp>& StartUps() const { return startUps_; }
  std::int64_t ObservedSeconds() const { return observed_; }
  std::int64_t JudgedSeconds() const { return judged_; }

  /// Seconds whose judged offset is beyond the limit that warns; the SFP is the one followed.
  const Excursions& Offsets(int sfp) const { return PerSfp(sfp).offsets; }
  const Excursions& CardUnlocked() const { return cardUnlocked_; }
  const Excursions& NotRedundant() const { return notRedundant_; }
  const RelockTracker& Relocks(int sfp) const { return PerSfp(sfp).relocks; }
  const LossTracker& Losses(int sfp) const { return PerSfp(sfp).losses; }
  const MinuteMedians& PathDelays(int sfp) const { return PerSfp(sfp).pathDelays; }
  const DifferenceTracker& Difference() const { return difference_; }

 private:
  using Sample = WatchedSample;
  /// First in, first out, in memory that stays.
  class Queue {
   public:
    bool empty() const { return size() == 0; }
    std::size_t size() const { return all_.size() - first_; }
    const Sample& front() const { return all_[first_]; }
    Sample& back() { return all_.back(); }
    Sample& emplace_back() { return all_.emplace_back(); }
    Sample& before_back() { return all_.end()[-2]; }
    void pop_back() { all_.pop_back(); }
    void pop_front() {
      if (++first_ < enough) return;
      all_.erase(all_.begin(), all_.begin() + static_cast<std::ptrdiff_t>(enough));
      first_ = 0;
    }

   private:
    static constexpr std::size_t enough = 64;
    std::vector<Sample> all_;
    std::size_t first_ = 0;
  };
  struct Sfp {
    explicit Sfp(int sfp) : relocks(sfp) {}

    Queue waiting;                        // for the other SFP's second
    std::int64_t newest = INT64_MIN;      // second that came last
    std::vector<std::int64_t> uncounted;  // seconds without a record that may be too few for an absence
    std::int64_t silent = 0;              // seconds in a row without a record
    std::uint64_t master = 0;             // grandmaster whose messages were due in the second before
    Excursions offsets{5};
    RelockTracker relocks;
    LossTracker losses;
    MinuteMedians pathDelays;
  };
  using Pair = std::array<const Sample*, sfpCount>;  // null: no record

  const Sfp& PerSfp(int sfp) const { return sfps_[static_cast<std::size_t>(sfp)]; }
  Sfp& PerSfp(int sfp) { return sfps_[static_cast<std::size_t>(sfp)]; }
  bool IsWaiting() const { return !sfps_[0].waiting.empty() || !sfps_[1].waiting.empty(); }
  bool StartingUp(std::int64_t time, std::int64_t lockedAfter) const;

  static void Merge(const Sample& added, Sample& sample);
  void EmitOldest();
  void OnPair(std::int64_t time, const Pair& pair);
  void BeginRuns(std::int64_t time);
  void WatchSfp(std::int64_t time, int sfp, const Sample& sample, DayFigures& day);
  void WatchMessages(std::int64_t time, int sfp, const Sample& sample, DayFigures& day);
  void WatchCard(std::int64_t time, const Pair& pair, DayFigures& day);
  void WatchRedundancy(std::int64_t time, const Pair& pair);
  void CountNotRedundant(std::int64_t time, double without);
  void WatchFollowed(std::int64_t time, const Pair& pair, DayFigures& day);
  void WatchDifference(std::int64_t time, const Pair& pair);
  bool CardLocked(std::int64_t time, const Pair& pair);
  bool CardSettled(std::int64_t time, const Pair& pair);
  int FollowedSfp(std::int64_t time, const Pair& pair);

  const Recording* recording_;
  WatchListener* listener_;
  WatchedSecond now_;
  double offsetLimit_;
  std::array<Sfp, sfpCount> sfps_{Sfp(0), Sfp(1)};
  std::optional<LoggedStates> log_;  // from the first second on
  std::map<std::int64_t, DayFigures> days_;
  std::vector<StartUp> startUps_;
  std::size_t nextStart_ = 0;
  std::int64_t last_ = INT64_MAX;  ///< second that was looked at last
  std::int64_t observed_ = 0;
  std::int64_t judged_ = 0;
  std::uint64_t followedGrandmaster_ = 0;
  Excursions cardUnlocked_{2};
  Excursions notRedundant_{2};
  DifferenceTracker difference_;
};

}  // namespace kestrune::report
