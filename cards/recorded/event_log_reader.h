#pragma once

#include <deque>
#include <optional>
#include <string>

#include "kit/regular_file.h"
#include "recorded/event_document.h"

namespace kestrune::recorded {

/// Reads the documents of an event log of any length, one after the other. A damaged one is passed over with
/// a line on standard error.
class EventLogReader {
 public:
  EventLogReader(std::string path, kit::File file) : path_(std::move(path)), file_(std::move(file)) {}

  /// The next document; null at the log's end. Good until the next call.
  const EventDocument* Peek();

  /// Nothing at the log's end.
  std::optional<EventDocument> Take();

  /// Takes, out of turn, a document that belongs to the one taken last: of this type, and of this SFP if the
  /// type has one, before the next one of `until`.
  std::optional<EventDocument> TakeBelonging(EventLogType type, std::size_t sfp, EventLogType until);

  void Rewind();

 private:
  /// Documents that are known ahead: as many as a run begins with, the start included.
  static constexpr std::size_t lookAhead = 8;

  void LookAhead();
  void MarkInitial();
  std::optional<EventDocument> Read();
  bool ReadLine();
  void TellDamaged();

  std::string path_;
  kit::File file_;
  std::size_t lineNumber_ = 0;
  std::size_t toldUntil_ = 0;  ///< line up to which damages have been told: each is told once
  std::string line_;           ///< the last line read
  std::string text_;           ///< of the document under way
  bool passingOver_ = false;   ///< the rest of a damaged document, of which has been told
  std::deque<EventDocument> ahead_;
  std::size_t startAwaited_ = lookAhead;  ///< documents in which a start may come, as far as was read ahead
};

}  // namespace kestrune::recorded
