#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <optional>
#include <thread>
#include <utility>

#include "kit/callback_list.h"
#include "kit/card.h"
#include "kit/delivery_thread.h"
#include "platform/clock.h"
#include "platform/mutex.h"
#include "sdk/records.h"

namespace kestrune::kit {

/// One card at work: lived through in step with the clock or in real time, and the threads that tell of it.
/// The telemetry thread lives through each second that falls due, or through each step as it comes, calls the
/// monitor-data callbacks and posts the status changes to the genlock, ST 2059 and SFP IP threads, which call
/// the callbacks of their kind. Of a card that is told in order, the telemetry thread calls all callbacks
/// itself.
///
/// The card's time stands at 0 until Start. Any thread calls the public operations.
class CardEngine : public std::enable_shared_from_this<CardEngine> {
 public:
  /// Records that wait for a fetch; beyond it the oldest are dropped.
  static constexpr std::size_t longestQueue = 4096;

  CardEngine(std::unique_ptr<Card> card, std::shared_ptr<Clock> clock);

  const CardDescription& Description() const { return description_; }

  /// Seconds of the card's time lived through.
  std::int64_t Now() const { return now_; }

  /// Starts the card's time; later calls do nothing.
  void Start();

  /// Ends the threads and waits for them. Nobody calls anything else any more.
  void Stop();

  /// `read(card)` on the state of now.
  template <class Read>
  auto ReadCard(Read&& read) {
    const MutexLock lock(mutex_);
    return read(std::as_const(WokenCard()));
  }

  /// Moves the oldest waiting records, at most as many as the batch holds, into the batch.
  void TakeMonitorData(MonitorDataBatch& batch);

  CallbackList& MonitorDataCallbacks() { return monitorDataCallbacks_; }
  CallbackList& GenlockCallbacks() { return *genlockCallbacks_; }
  CallbackList& St2059Callbacks() { return *st2059Callbacks_; }
  /// SFP numbers other than 1 and 2 share a list that is never called.
  CallbackList& SfpIpCallbacks(std::uint32_t sfpNumber);

 private:
  /// The status records as they are after a step that changed them.
  struct Changes {
    std::optional<GenlockStatus> genlock;
    std::optional<St2059Status> st2059;
    std::array<std::optional<SfpIpStatus>, 2> sfpIp;
  };

  Card& WokenCard() REQUIRES(mutex_);
  void Run();
  void LiveBySeconds();
  void LiveInRealTime();
  void LiveThroughBatch(std::int64_t until);
  void LiveThroughSecond();
  void LiveThroughStep();
  void Post(const Changes& changes);
  void Deliver(DeliveryThread& thread, std::function<void()> task);
  void RingMonitorData();
  std::size_t PendingCount();

  const std::unique_ptr<Card> card_ POINTEE_GUARDED_BY(mutex_);
  const CardDescription& description_;
  const std::shared_ptr<Clock> clock_;

  std::atomic<std::int64_t> now_ = 0;
  std::atomic<bool> stopped_ = false;

  Mutex mutex_;
  bool awake_ GUARDED_BY(mutex_) =
      false;  // from when the card is first needed: listing the cards doesn't need it
  std::deque<TelemetryRecord> pending_ GUARDED_BY(mutex_);
  std::thread telemetryThread_;  // Stop needs no lock for it, as nobody starts it any more

  CallbackList monitorDataCallbacks_;
  // Shared with the tasks of the delivery threads.
  const std::shared_ptr<CallbackList> genlockCallbacks_ = std::make_shared<CallbackList>();
  const std::shared_ptr<CallbackList> st2059Callbacks_ = std::make_shared<CallbackList>();
  const std::array<std::shared_ptr<CallbackList>, 3> sfpIpCallbacks_;

  // Fed by the telemetry thread alone.
  DeliveryThread genlockThread_;
  DeliveryThread st2059Thread_;
  DeliveryThread sfpIpThread_;
};

}  // namespace kestrune::kit
