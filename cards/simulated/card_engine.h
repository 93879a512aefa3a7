#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "sdk/records.h"
#include "simulated/callback_list.h"
#include "simulated/card_model.h"
#include "simulated/delivery_thread.h"
#include "simulated/scenario.h"
#include "simulated/system.h"

namespace kestrune::simulated {

/// One simulated card at work: the model, lived through in step with the clock, and the threads that tell of
/// it. The telemetry thread lives through each second that falls due, calls the monitor-data callbacks and
/// posts the status changes to the genlock, ST 2059 and SFP IP threads, which call the callbacks of their
/// kind.
///
/// Scenario time stands at 0 until Start. Any thread calls the public operations.
class CardEngine : public std::enable_shared_from_this<CardEngine> {
 public:
  /// Records that wait for a fetch; beyond it the oldest are dropped.
  static constexpr std::size_t longestQueue = 4096;

  CardEngine(std::shared_ptr<const Scenario> scenario, std::size_t card, std::shared_ptr<Clock> clock);

  const Card& Description() const { return scenario_->cards[card_]; }

  /// Seconds of scenario time lived through.
  std::int64_t Now() const { return now_; }

  /// Starts the scenario's clock; later calls do nothing.
  void Start();

  /// Ends the threads and waits for them. Nobody calls anything else any more.
  void Stop();

  /// `read(model)` on the state of now.
  template <class Read>
  auto ReadModel(Read&& read) {
    const std::lock_guard lock(mutex_);
    return read(std::as_const(Model()));
  }

  /// Moves the oldest waiting records, at most as many as the batch holds, into the batch.
  void TakeMonitorData(MonitorDataBatch& batch);

  CallbackList& MonitorDataCallbacks() { return monitorDataCallbacks_; }
  CallbackList& GenlockCallbacks() { return *genlockCallbacks_; }
  CallbackList& St2059Callbacks() { return *st2059Callbacks_; }
  /// SFP numbers other than 1 and 2 share a list that is never called.
  CallbackList& SfpIpCallbacks(std::uint32_t sfpNumber);

 private:
  /// The status records as they are after a second that changed them.
  struct Changes {
    std::optional<GenlockStatus> genlock;
    std::optional<St2059Status> st2059;
    std::array<std::optional<SfpIpStatus>, 2> sfpIp;
  };

  CardModel& Model();
  void Run();
  void LiveThroughBatch(std::int64_t until);
  void LiveThroughSecond();
  void Post(const Changes& changes);
  void RingMonitorData();
  std::size_t PendingCount();

  const std::shared_ptr<const Scenario> scenario_;
  const std::size_t card_;
  const std::shared_ptr<Clock> clock_;

  std::atomic<std::int64_t> now_ = 0;
  std::atomic<bool> stopped_ = false;

  std::mutex mutex_;                  // guards the next three
  std::unique_ptr<CardModel> model_;  // made when it is first needed: listing the cards needs none
  std::deque<TelemetryRecord> pending_;
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

}  // namespace kestrune::simulated
