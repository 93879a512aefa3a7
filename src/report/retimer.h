#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>

#include "report/buckets.h"

namespace kestrune::report {

/// A record on its way to its second.
struct TimedRecord {
  Bucket second;  ///< begins at the record's time stamp until its second is found
  std::int32_t state = 0;
  bool asksForDelay = true;   ///< are Delay_Resp to be expected?
  std::int32_t master = 0;    ///< index into `Recording::masters`
  std::uint64_t packets = 0;  ///< received on the link, by the card's counter
  std::uint64_t place = 0;    ///< byte of the file
};

/// Gives each record of one SFP the second that it tells of. A time stamp has whole seconds and is when a
/// batch was fetched, so the k records of one stamp are of the k seconds up to it, give or take one. When
/// more come than fit, they and those before move back into the nearest seconds of the last minute that have
/// none.
class Retimer {
 public:
  static constexpr std::int64_t noTime = std::numeric_limits<std::int64_t>::min();

  /// No second before `first` is given: records of a batch that reach back behind it share the first ones.
  explicit Retimer(std::int64_t first = noTime) : earliest_(first) {}

  /// The record to be filled in and then given to `Commit`.
  TimedRecord& Slot() { return items_[(first_ + held_ + batch_) % capacity]; }

  /// Takes the record in `Slot`. `emit(TimedRecord&)` gets those that are through, in rising order but behind
  /// a clock that was set back.
  template <typename Emit>
  void Commit(std::int64_t stamp, Emit emit) {
    if (batch_ > 0 && stamp != stamp_) {
      Settle();  // which leaves the slot where it is
      Drain(keep, emit);
      LetGo(stamp_ - minute, emit);
    }
    if (batch_ == 0 && last_ != noTime && stamp < last_ - backward) {
      Drain(0, emit);
      last_ = emitted_ = noTime;
    }
    stamp_ = stamp;
    if (++batch_ == capacity / 2) {
      Settle();
      Drain(keep, emit);
    }
  }

  /// Lets those go that have a second before `time`.
  template <typename Emit>
  void LetGo(std::int64_t time, Emit emit) {
    if (batch_ > 0 && stamp_ < time) Settle();
    while (held_ > 0 && TimeOf(0) < time) Drain(held_ - 1, emit);
  }

  /// Lets all go that are held. What follows goes on behind them.
  template <typename Emit>
  void Flush(Emit emit) {
    Settle();
    Drain(0, emit);
  }

  /// Does one second follow the other among those held, so that nothing would move any more?
  bool IsEven() const;

  /// The second of the last record that was emitted after `Flush`; `noTime` before the first.
  std::int64_t Last() const { return last_; }
  /// Goes on as after the `Flush` at which `Last` was this.
  void Restart(std::int64_t last) { last_ = emitted_ = last; }

 private:
  static constexpr std::size_t capacity = 256;
  static constexpr std::size_t keep = 60;
  static constexpr std::int64_t minute = 60;
  static constexpr std::int64_t backward = 5;

  void Settle();
  bool UseDouble();
  bool FillHole();

  template <typename Emit>
  void Drain(std::size_t left, Emit emit) {
    while (held_ > left) {
      TimedRecord& record = items_[first_ % capacity];
      emitted_ = record.second.start;
      emit(record);
      ++first_;
      --held_;
    }
  }

  std::int64_t TimeOf(std::size_t i) const { return items_[(first_ + i) % capacity].second.start; }
  std::int64_t& TimeOf(std::size_t i) { return items_[(first_ + i) % capacity].second.start; }

  std::array<TimedRecord, capacity> items_;
  std::size_t first_ = 0;  ///< place of the first one held
  std::size_t held_ = 0;   ///< have their second
  std::size_t batch_ = 0;  ///< behind them, of one stamp, have none yet
  std::int64_t stamp_ = 0;
  std::int64_t earliest_;
  std::int64_t last_ = noTime;     ///< second of the last one that has one
  std::int64_t emitted_ = noTime;  ///< second of the last one that was emitted
};

}  // namespace kestrune::report
