#include "report/page_levels.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <future>
#include <map>
#include <set>
#include <span>

#include "report/bucket_series.h"
#include "report/level_packer.h"

namespace kestrune::report {
namespace {

constexpr std::int64_t widestSlot = 60;
constexpr std::int64_t narrowSlot = 20;
constexpr std::int64_t secondsPerPart = 2 * 3600;
constexpr std::int64_t mostWideBuckets = 100'000;
constexpr std::int64_t mostSideBuckets = 10'000;
constexpr int gravest = 3;

/// Seconds that come or stay away together: a bucket of the level that covers everything. Where that is wide,
/// all incidents would not fit; the page then shares the rest of a bucket out.
std::int64_t SlotOf(const PageLevel& whole) { return whole.width <= widestSlot ? whole.width : narrowSlot; }

/// The stretches around episodes, extremes and events, and how much each slot matters: 0 most.
class Interest {
 public:
  Interest(const Recording& recording, std::int64_t slot) : recording_(recording), slot_(slot) {}

  void Want(std::int64_t from, std::int64_t to, int rank) {
    from = std::max(from, recording_.first);
    to = std::min(to, recording_.end);
    for (std::int64_t at = BucketStart(from, slot_); at < to; at += slot_) {
      const auto [place, isNew] = ranks_.try_emplace(at, rank);
      if (!isNew) place->second = std::min(place->second, rank);
    }
  }

  /// The slots, those that matter most first.
  std::vector<std::int64_t> Ordered() const {
    std::vector<std::pair<int, std::int64_t>> order;
    for (const auto& [at, rank] : ranks_) order.emplace_back(rank, at);
    std::ranges::sort(order);
    std::vector<std::int64_t> slots;
    slots.reserve(order.size());
    for (const auto& [rank, at] : order) slots.push_back(at);
    return slots;
  }

 private:
  const Recording& recording_;
  std::int64_t slot_;
  std::map<std::int64_t, int> ranks_;
};

void WantEpisode(const PageEpisode& episode, Interest& interest) {
  const int rank = gravest - episode.severity;
  interest.Want(episode.from - 6, episode.from + 12, rank);
  interest.Want(episode.to - 8, episode.to + 8, rank);
  interest.Want(episode.from - 40, episode.from + 60, 5 + rank);
  interest.Want(episode.to - 40, episode.to + 40, 5 + rank);
  if (episode.to - episode.from < 1800) interest.Want(episode.from, episode.to, 10 + rank);
  interest.Want(episode.from - 240, episode.from + 240, 14);
  interest.Want(episode.from - 900, episode.from + 900, 15);
}

/// The second farthest from 0 of every hour, whatever its rank among all.
void WantHours(const SfpRecording& sfp, std::int64_t width, Interest& interest) {
  std::map<std::int64_t, const Bucket*> worst;
  for (const Bucket& bucket : sfp.buckets) {
    const Bucket*& held = worst[BucketStart(bucket.start, 3600)];
    const auto size = [](const Bucket& b) { return std::fabs(static_cast<double>(b.offset.Worst())); };
    if (bucket.syncs > 0 && (held == nullptr || size(bucket) > size(*held))) held = &bucket;
  }
  for (const auto& [hour, bucket] : worst) {
    if (bucket != nullptr) interest.Want(bucket->start, bucket->start + std::min<std::int64_t>(width, 60), 9);
  }
}

Interest FindInterest(const Recording& recording, const std::vector<PageEpisode>& episodes,
                      std::int64_t slot) {
  Interest interest(recording, slot);
  constexpr std::size_t mostEpisodes = 5000;
  for (std::size_t i = 0; i < std::min(episodes.size(), mostEpisodes); ++i)
    WantEpisode(episodes[i], interest);
  for (const SfpRecording& sfp : recording.sfp) {
    if (sfp.records == 0) continue;
    for (const Extremes& extremes : {sfp.offset, sfp.offsetLocked}) {
      interest.Want(extremes.leastAt - 5, extremes.leastAt + 5, 0);
      interest.Want(extremes.greatestAt - 5, extremes.greatestAt + 5, 0);
    }
    WantHours(sfp, recording.bucketWidth, interest);
  }
  constexpr std::size_t mostEvents = 5000;
  for (std::size_t i = 0; i < std::min(recording.eventLog.events.size(), mostEvents); ++i) {
    const std::int64_t time = recording.eventLog.events[i].time;
    interest.Want(time - 2, time + 3, 4);
  }
  return interest;
}

/// Slots of rising order as stretches.
std::vector<Stretch> Join(std::vector<std::int64_t> slots, std::int64_t slot, const Recording& recording) {
  std::ranges::sort(slots);
  std::vector<Stretch> parts;
  for (const std::int64_t at : slots) {
    const std::int64_t from = std::max(at, recording.base);
    if (!parts.empty() && parts.back().to == from && from - parts.back().from < secondsPerPart) {
      parts.back().to = at + slot;
    } else {
      parts.push_back({from, at + slot});
    }
  }
  if (!parts.empty()) parts.back().to = std::min(parts.back().to, recording.end);
  return parts;
}

std::vector<Stretch> Everything(const Recording& recording) {
  std::vector<Stretch> parts;
  for (std::int64_t from = BucketStart(recording.first, 60); from < recording.end; from += secondsPerPart) {
    parts.push_back({from, std::min(from + secondsPerPart, recording.end)});
  }
  return parts;
}

/// The finest level of the whole recording that takes no more than its share of the room.
PageLevel FinestWhole(const Recording& recording, std::size_t room) {
  PageLevel level;
  std::int64_t width = recording.bucketWidth;
  while ((recording.end - recording.base) / width > mostWideBuckets) width = WiderBucket(width);
  for (; level.chunks.empty() || level.Bytes() > room; width = WiderBucket(width)) {
    level = PackWhole(recording, width);
    if (recording.end - recording.base <= width) break;
  }
  return level;
}

/// What is shown on demand in the finest width that takes no more than its share of the room.
PageLevel FinestSide(const Recording& recording, const SideSeries& side, std::size_t room) {
  std::int64_t width = std::max(recording.bucketWidth, side.Width());
  while ((recording.end - recording.base) / width > mostSideBuckets) width = WiderBucket(width);
  PageLevel level = PackSideLevel(recording, side, width);
  while (level.Bytes() > room && recording.end - recording.base > width) {
    width = WiderBucket(width);
    level = PackSideLevel(recording, side, width);
  }
  return level;
}

using Slots = std::span<const std::int64_t>;

/// As many of the foremost slots as about fit. What one takes depends on what is in it and on its neighbours,
/// so that it shows when they are packed.
PageLevel PackSlots(const Recording& recording, Slots slots, std::int64_t slot, std::size_t room) {
  constexpr double usualBytesPerSecond = 6.5;
  constexpr int attempts = 3;
  constexpr double share = 0.9;
  constexpr double enough = 0.55;
  PageLevel best;
  double fitting = static_cast<double>(room) / (usualBytesPerSecond * static_cast<double>(slot));
  for (int attempt = 0; attempt < attempts; ++attempt) {
    const auto count = static_cast<std::size_t>(std::min(fitting, static_cast<double>(slots.size())));
    if (count == 0) break;
    const Slots foremost = slots.first(count);
    PageLevel level =
        PackParts(recording, Join({foremost.begin(), foremost.end()}, slot, recording), 1, 1, room);
    const std::size_t bytes = level.Bytes();
    const double packed = static_cast<double>(level.Buckets()) / static_cast<double>(slot);
    const double fit = packed * static_cast<double>(room) / static_cast<double>(bytes);
    if (bytes <= room) {
      const bool isEnough =
          count == slots.size() || static_cast<double>(bytes) >= enough * static_cast<double>(room);
      if (bytes > best.Bytes()) best = std::move(level);
      if (isEnough) break;
    }
    fitting = fit * share;
  }
  return best;
}

/// The whole recording in steps of ten seconds, if it fits.
PageLevel PackAllTens(const Recording& recording, std::size_t room) {
  constexpr std::int64_t leastBytesPerMinute = 6 * 12;
  const std::int64_t minutes = (recording.end - recording.first) / 60;
  if (minutes * leastBytesPerMinute > static_cast<std::int64_t>(room)) return {};
  PageLevel level = PackParts(recording, Everything(recording), 10, 10, room);
  return level.Bytes() <= room ? level : PageLevel{};
}

/// At most so many minutes around the episodes, the foremost first, as stretches of rising order.
std::vector<Stretch> MinutesAround(const Recording& recording, const std::vector<PageEpisode>& episodes,
                                   std::size_t most) {
  std::set<std::int64_t> minutes;
  const auto add = [&](std::int64_t from, std::int64_t to) {
    from = BucketStart(std::max(from, recording.first), 60);
    for (; from < std::min(to, recording.end) && minutes.size() < most; from += 60) minutes.insert(from);
  };
  for (const PageEpisode& episode : episodes)
    add(episode.from - 300, std::min(episode.to, episode.from + 300) + 300);
  for (const PageEpisode& episode : episodes) add(episode.from, std::min(episode.to, episode.from + 7200));
  return Join({minutes.begin(), minutes.end()}, 60, recording);
}

/// Minutes around the foremost episodes, in steps of ten seconds.
PageLevel PackTens(const Recording& recording, const std::vector<PageEpisode>& episodes, std::size_t room) {
  constexpr double usualBytesPerMinute = 6 * 17.0;
  constexpr double share = 0.9;
  double most = static_cast<double>(room) / usualBytesPerMinute;
  PageLevel level =
      PackParts(recording, MinutesAround(recording, episodes, static_cast<std::size_t>(most)), 10, 10, room);
  if (level.Bytes() <= room) return level;
  most = share * static_cast<double>(level.Buckets() * level.width) / 60 * static_cast<double>(room) /
         static_cast<double>(level.Bytes());
  level =
      PackParts(recording, MinutesAround(recording, episodes, static_cast<std::size_t>(most)), 10, 10, room);
  return level.Bytes() <= room ? level : PageLevel{};
}

/// All levels but that of what is shown on demand.
std::vector<PageLevel> UsualLevels(const Recording& recording, const std::vector<PageEpisode>& episodes,
                                   PageLevel whole, std::size_t left) {
  std::vector<PageLevel> levels;
  levels.push_back(std::move(whole));
  constexpr std::int64_t leastBytesPerSecond = 5;
  const std::int64_t seconds = recording.end - recording.first;
  if (seconds * leastBytesPerSecond <= static_cast<std::int64_t>(left)) {
    PageLevel every = PackParts(recording, Everything(recording), 1, 1, left);
    if (every.Bytes() <= left) {
      left -= every.Bytes();
      PageLevel tens = PackParts(recording, Everything(recording), 10, 10, left);
      if (tens.Bytes() <= left) levels.push_back(std::move(tens));
      levels.push_back(std::move(every));
      return levels;
    }
  }
  const std::int64_t slot = SlotOf(levels.front());
  const std::vector<std::int64_t> slots = FindInterest(recording, episodes, slot).Ordered();
  PageLevel fine = PackSlots(recording, slots, slot, left * 8 / 10);
  left -= fine.Bytes();
  PageLevel tens = PackAllTens(recording, left);
  if (tens.chunks.empty()) tens = PackTens(recording, episodes, left);
  if (!tens.chunks.empty()) levels.push_back(std::move(tens));
  if (!fine.chunks.empty()) levels.push_back(std::move(fine));
  return levels;
}

}  // namespace

std::vector<PageLevel> BuildLevels(const Recording& recording, const SideSeries& sideSeries,
                                   const std::vector<PageEpisode>& episodes, std::size_t room) {
  if (recording.end <= recording.first) return {};
  auto side =
      std::async(std::launch::async, FinestSide, std::cref(recording), std::cref(sideSeries), room / 10);
  PageLevel whole = FinestWhole(recording, room * 4 / 10);
  PageLevel onDemand = side.get();
  const std::size_t left = room - std::min(room, whole.Bytes() + onDemand.Bytes());
  std::vector<PageLevel> levels = UsualLevels(recording, episodes, std::move(whole), left);
  levels.push_back(std::move(onDemand));
  return levels;
}

}  // namespace kestrune::report
