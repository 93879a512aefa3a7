#pragma once

#include <atomic>
#include <cstdint>

#include "diag/result_holder.h"
#include "monitor/card_connection.h"
#include "monitor/event_log.h"
#include "platform/mutex.h"
#include "sdk/records.h"

namespace kestrune {

/// Turns the card's state and its changes into documents of the event log and alerts on the console, a
/// document before its alert. From any thread, as far as the card's interfaces are there.
class CardEvents {
 public:
  /// Both are used as long as it lives.
  CardEvents(const CardConnection& card, EventLog& log) : card_(card), log_(log) {}

  /// Logs the state that the card has now, and alerts nobody. Prints its own failure, which is the first.
  ResultHolder WriteInitialState();

  // Log a state and, unless it is the initial one, announce it. What can't be read is told on the console.
  void HandleGenlockStatus(const GenlockStatus& status, bool initial);
  void HandleSt2059Status(const St2059Status& status, bool initial);
  /// `sfpNumber` is 1 for SFP A, 2 for SFP B.
  void HandleSfpIpStatus(std::uint32_t sfpNumber, const SfpIpStatus& status, bool initial);

  /// Prints the local time and `text` as one line.
  void PrintTimed(const char* text);

 private:
  ResultHolder WriteInitialGenlockStatus();
  ResultHolder WriteInitialSt2059Status();
  ResultHolder WriteInitialSfpIpStatus();
  void HandleGenlockSettings(bool initial);
  void WriteSfpSt2059Statuses();

  const CardConnection& card_;
  EventLog& log_;
  Mutex consoleMutex_;  ///< keeps the lines of PrintTimed in the order of their times

  // Last known genlock settings. No mutex: the card services report genlock changes one after the other, and
  // the initial state may meet the first of them.
  std::atomic<std::uint32_t> genlockSource_ = 0;
  std::atomic<std::uint32_t> genlockFrameRate_ = 0;
};

}  // namespace kestrune
