#include "recorded/event_log_reader.h"

#include <algorithm>
#include <array>
#include <utility>

#include "kit/library.h"

namespace kestrune::recorded {
namespace {

/// A document is far shorter.
constexpr std::size_t longestDocument = 64 << 10;

}  // namespace

const EventDocument* EventLogReader::Peek() {
  LookAhead();
  return ahead_.empty() ? nullptr : &ahead_.front();
}

std::optional<EventDocument> EventLogReader::Take() {
  LookAhead();
  if (ahead_.empty()) return std::nullopt;
  const EventDocument document = ahead_.front();
  ahead_.pop_front();
  return document;
}

std::optional<EventDocument> EventLogReader::TakeBelonging(EventLogType type, std::size_t sfp,
                                                           EventLogType until) {
  LookAhead();
  const auto found = std::ranges::find_if(ahead_, [&](const EventDocument& document) {
    return (document.type == type && document.sfp == sfp) || document.type == until ||
           document.type == EventLogType::EndOfMonitoring || document.initial;
  });
  if (found == ahead_.end() || found->type != type || found->initial) return std::nullopt;
  const EventDocument document = *found;
  ahead_.erase(found);
  return document;
}

void EventLogReader::Rewind() {
  std::rewind(file_.get());
  lineNumber_ = 0;
  text_.clear();
  passingOver_ = false;
  ahead_.clear();
  startAwaited_ = lookAhead;
}

void EventLogReader::LookAhead() {
  while (ahead_.size() < lookAhead) {
    auto document = Read();
    if (!document) return;
    // Of a run whose start is damaged, no more is taken for its begin than a run begins with.
    document->initial = startAwaited_ > 0;
    if (startAwaited_ > 0) --startAwaited_;
    ahead_.push_back(*document);
    if (document->type == EventLogType::StartOfMonitoring) MarkInitial();
    if (document->type == EventLogType::EndOfMonitoring) startAwaited_ = lookAhead;
  }
}

/// A run may have ended without a word: what stands before the next start, from the genlock's status on, is
/// the next run's.
void EventLogReader::MarkInitial() {
  startAwaited_ = 0;
  ahead_.back().initial = true;
  for (auto document = ahead_.rbegin() + 1; document != ahead_.rend(); ++document) {
    if (document->type <= EventLogType::EndOfMonitoring) return;
    document->initial = true;
    if (document->type == EventLogType::GenlockStatus) return;
  }
}

/// Documents begin and end with a brace at a line's begin. A torn one may end in the middle of a line, where
/// the next begins: its "Time" tells.
std::optional<EventDocument> EventLogReader::Read() {
  while (ReadLine()) {
    const bool begins = line_.starts_with("{");
    const bool timeAgain = line_.starts_with("    \"Time\":") && text_.find("\"Time\":") != std::string::npos;
    if (begins || timeAgain || text_.size() > longestDocument) {
      if (!text_.empty()) TellDamaged();
      text_ = begins || timeAgain ? "{" : "";
      passingOver_ = text_.empty();
    }
    if (text_.empty() && line_ != "\n" && line_ != "\r\n") TellDamaged();
    if (text_.empty() || begins) continue;
    text_ += line_;
    if (!line_.starts_with("}")) continue;
    auto document = ParseEventDocument(std::exchange(text_, {}));
    if (document) return document;
    TellDamaged();
  }
  if (!std::exchange(text_, {}).empty()) TellDamaged();
  return std::nullopt;
}

/// Of a line that is too long for a document's, piece by piece. False at the file's end.
bool EventLogReader::ReadLine() {
  std::array<char, 4096> line;
  if (std::fgets(line.data(), line.size(), file_.get()) == nullptr) return false;
  line_ = line.data();
  ++lineNumber_;
  return true;
}

void EventLogReader::TellDamaged() {
  if (std::exchange(passingOver_, true) || lineNumber_ <= toldUntil_) return;
  toldUntil_ = lineNumber_;
  std::fprintf(stderr, "%s: %s:%zu: a damaged document before this line is left out\n", kit::libraryName,
               path_.c_str(), lineNumber_);
}

}  // namespace kestrune::recorded
