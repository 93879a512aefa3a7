#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace kestrune::report {

/// What an SFP's records tell of its best master and of the time it gives; any difference makes another
/// master.
struct Master {
  std::uint64_t grandmaster = 0;  ///< clock identity, first octet highest; 0: no master
  std::uint64_t sender = 0;       ///< clock identity
  std::uint32_t address = 0;      ///< IPv4, first octet highest
  std::int32_t port = 0;
  std::uint32_t domain = 0;
  std::uint32_t flags0 = 0;
  std::uint32_t flags1 = 0;
  std::uint32_t priority1 = 0;
  std::uint32_t priority2 = 0;
  std::uint32_t clockClass = 0;
  std::uint32_t accuracy = 0;
  std::uint32_t variance = 0;
  std::uint32_t stepsRemoved = 0;
  std::uint32_t timeSource = 0;
  std::int32_t utcOffset = 0;      ///< of the Announce message, seconds
  std::int32_t timeUtcOffset = 0;  ///< of the time properties, seconds
  std::uint32_t utcOffsetValid = 0;
  std::uint32_t leap59 = 0;
  std::uint32_t leap61 = 0;
  std::uint32_t twoStep = 0;
  std::uint32_t timeTraceable = 0;
  std::uint32_t frequencyTraceable = 0;
  std::uint32_t ptpTimescale = 0;
  std::int32_t logAnnounceInterval = 0;  ///< log2 of seconds, as the other intervals
  std::int32_t logSyncInterval = 0;
  std::int32_t logPdelayReqInterval = 0;
  std::int32_t logDelayReqInterval = 0;

  bool operator==(const Master&) const = default;
};

/// So many masters are known at most.
inline constexpr std::size_t mostMasters = 8192;

/// Finds masters among the known ones, however many they are. One for each thread.
class MasterFinder {
 public:
  /// `masters` must outlive this; it may grow, at its end, and changes in no other way.
  explicit MasterFinder(const std::vector<Master>& masters) : masters_(&masters) {}

  /// The place of a master, the newest one's of several; -1 for one that has to join them, 0 for none. When
  /// there are very many, one that agrees in all that is judged stands for others.
  std::int32_t Find(const Master& master);

 private:
  /// Numbers of masters by a hash of theirs, the newest first.
  class Chains {
   public:
    Chains() { newest_.fill(-1); }
    /// The next number.
    void Add(std::size_t hash);
    /// The newest of this hash for which `is` holds; -1 without one.
    template <typename Is>
    std::int32_t First(std::size_t hash, Is is) const;

   private:
    std::array<std::int32_t, mostMasters / 2> newest_;
    std::vector<std::int32_t> before_;  ///< the one before each in its chain; -1 for none
  };

  const std::vector<Master>* masters_;
  std::size_t seen_ = 0;  ///< of these, so many stand in the chains
  Chains all_;
  Chains judged_;
};

/// The place of a master, which joins the known ones, the finder's, if need be; when there is no room, that
/// of the last one.
std::int32_t JoinMasters(std::vector<Master>& masters, MasterFinder& finder, const Master& master);

}  // namespace kestrune::report
