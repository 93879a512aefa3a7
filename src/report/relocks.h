#pragma once

#include <cstdint>
#include <vector>

#include "report/buckets.h"

namespace kestrune::report {

/// How an SFP lost its master and locked again, in epoch seconds.
struct Relock {
  int sfp = 0;
  std::int64_t lastMessage = 0;  ///< the old master's last second with a Sync message
  std::int64_t detected = 0;     ///< first second out of lock, or with another grandmaster
  std::int64_t start = 0;        ///< what the time to lock counts from
  std::int64_t locked = -1;      ///< first second locked again; -1: never, up to the run's end
  std::int64_t end = 0;          ///< the same; or the run's end
  std::int32_t from = 0;         ///< index into the recording's masters
  std::int32_t to = 0;
  double step = 0;  ///< offset in the first second with the new master, less the last locked one, ns
  bool stepMeasured = false;
  bool linkWasDown = false;
  bool grandmasterChanged = false;

  /// Seconds to lock; so many at least, where it never locked.
  std::int64_t Took() const { return end - start; }
};

/// One SFP's second, as a RelockTracker wants it.
struct LockSecond {
  std::int64_t time = 0;
  bool locked = false;  ///< all of it
  bool linkUp = true;
  std::int32_t master = 0;
  std::uint64_t grandmaster = 0;
  std::uint32_t syncs = 0;
  double offset = 0;  ///< average, ns; means nothing without Sync messages
};

/// What a tracker must know to count on behind a second that it was told of last. How an open loss came about
/// isn't in it.
struct RelockMemory {
  bool hasLocked = false;
  bool lost = false;
  std::uint64_t lockedGrandmaster = 0;
};

/// Follows one SFP through its losses of lock. The first lock of a run isn't one.
class RelockTracker {
 public:
  static constexpr std::size_t limit = 10'000;
  /// What happens in seconds without a record isn't known; in so many it may be anything.
  static constexpr std::int64_t longestHole = 60;

  explicit RelockTracker(int sfp) : sfp_(sfp) {}

  void Add(const LockSecond& second);
  /// A run of the recorder has ended; what it left open was never locked again.
  void EndRun();
  /// The first `limit`, and of the later ones those that are worse than all before.
  const std::vector<Relock>& All() const { return all_; }
  std::uint64_t Count() const { return count_; }
  /// How often it was locked again, however many losses are kept.
  std::uint64_t Relocked() const { return relocked_; }

  RelockMemory Memory() const { return {hasLocked_, lost_, lockedGrandmaster_}; }
  /// Before the first second; `last` is the one that came last then.
  void Resume(const RelockMemory& memory, std::int64_t last);

 private:
  void Lose(const LockSecond& second);
  void ForgetMessages();
  void SearchMaster(const LockSecond& second);
  void Finish(const LockSecond& second);
  void Close(std::int64_t end);

  int sfp_;
  bool hasLocked_ = false;
  bool lost_ = false;
  std::int64_t last_ = 0;  ///< second that came last
  // Of the last locked second.
  std::int32_t lockedMaster_ = 0;
  std::uint64_t lockedGrandmaster_ = 0;
  std::int64_t lastMessage_ = 0;
  double lastOffset_ = 0;
  // While out of lock.
  Relock open_;
  bool silent_ = false;
  bool unseen_ = false;             ///< there was a long hole
  std::int64_t firstMessage_ = -1;  ///< of the new master, or behind the silence

  std::vector<Relock> all_;
  std::uint64_t count_ = 0;
  std::uint64_t relocked_ = 0;
  // Of all so far.
  std::int64_t slowest_ = 0;
  std::int64_t longest_ = 0;
  double steepest_ = 0;
};

}  // namespace kestrune::report
