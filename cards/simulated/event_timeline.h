#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "simulated/scenario.h"

namespace kestrune::simulated {

/// A scenario's events in the order in which they befall one card: those of the network and those of the
/// card.
class EventTimeline {
 public:
  /// Keeps copies of the events that concern `card`.
  EventTimeline(const std::vector<Event>& events, std::size_t card);
  EventTimeline(const EventTimeline&) = delete;
  EventTimeline& operator=(const EventTimeline&) = delete;

  /// The next event due at `now` (seconds of scenario time) or before, or nothing. Events of the same time
  /// come in the scenario's order. The pointer is valid as long as the timeline.
  const Event* TakeDue(double now);

 private:
  struct Entry {
    Event event;
    std::uint64_t happened = 0;
    bool exhausted = false;

    double Due() const { return event.at + static_cast<double>(happened) * event.every; }
  };

  void FindNext();

  std::vector<Entry> entries_;
  Entry* next_ = nullptr;  ///< the earliest entry not exhausted
};

}  // namespace kestrune::simulated
