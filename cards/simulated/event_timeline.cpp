#include "simulated/event_timeline.h"

namespace kestrune::simulated {
namespace {

bool BefallsNetwork(EventKind kind) {
  return kind == EventKind::GrandmasterLost || kind == EventKind::GrandmasterBack ||
         kind == EventKind::GrandmasterChange;
}

}  // namespace

EventTimeline::EventTimeline(const std::vector<Event>& events, std::size_t card) {
  for (const Event& event : events) {
    if (BefallsNetwork(event.kind) || event.card == card) entries_.push_back({event});
  }
  FindNext();
}

const Event* EventTimeline::TakeDue(double now) {
  if (next_ == nullptr || next_->Due() > now) return nullptr;
  Entry& entry = *next_;
  ++entry.happened;
  const bool repeats = entry.event.every > 0;
  entry.exhausted = !repeats || (entry.event.times != 0 && entry.happened >= entry.event.times);
  FindNext();
  return &entry.event;
}

void EventTimeline::FindNext() {
  next_ = nullptr;
  for (Entry& entry : entries_) {
    if (!entry.exhausted && (next_ == nullptr || entry.Due() < next_->Due())) next_ = &entry;
  }
}

}  // namespace kestrune::simulated
