#include "simulated/card_engine.h"

#include <algorithm>
#include <chrono>

#include "sdk/card_services.h"
#include "simulated/scenario_clock.h"

namespace kestrune::simulated {
namespace {

/// How long a stop may have to wait for the telemetry thread to wake up.
constexpr std::chrono::milliseconds longestSleep{200};

}  // namespace

CardEngine::CardEngine(std::shared_ptr<const Scenario> scenario, std::size_t card,
                       std::shared_ptr<Clock> clock)
    : scenario_(std::move(scenario)),
      card_(card),
      clock_(std::move(clock)),
      sfpIpCallbacks_{std::make_shared<CallbackList>(), std::make_shared<CallbackList>(),
                      std::make_shared<CallbackList>()} {}

void CardEngine::Start() {
  const std::lock_guard lock(mutex_);
  if (telemetryThread_.joinable()) return;
  Model();
  telemetryThread_ = std::thread([self = shared_from_this()] { self->Run(); });
}

void CardEngine::Stop() {
  stopped_ = true;
  JoinOrLeave(telemetryThread_);
  genlockThread_.Stop();
  st2059Thread_.Stop();
  sfpIpThread_.Stop();
}

void CardEngine::TakeMonitorData(MonitorDataBatch& batch) {
  const std::lock_guard lock(mutex_);
  const std::size_t count = std::min<std::size_t>(pending_.size(), MonitorDataBatch::maximumCount);
  const auto end = pending_.begin() + static_cast<std::ptrdiff_t>(count);
  std::copy(pending_.begin(), end, batch.records);
  pending_.erase(pending_.begin(), end);
  batch.count = static_cast<std::uint32_t>(count);
}

CallbackList& CardEngine::SfpIpCallbacks(std::uint32_t sfpNumber) {
  return *sfpIpCallbacks_[sfpNumber == 1 || sfpNumber == 2 ? sfpNumber - 1 : 2];
}

CardModel& CardEngine::Model() {
  if (!model_) {
    const auto now = std::chrono::floor<std::chrono::nanoseconds>(clock_->Now().time_since_epoch()).count();
    model_ = std::make_unique<CardModel>(
        *scenario_, card_,
        scenario_->startEpoch ? *scenario_->startEpoch * 1'000'000'000 : std::int64_t{now});
  }
  return *model_;
}

void CardEngine::Run() {
  ScenarioClock time(clock_->Now());
  while (!stopped_) {
    const std::int64_t due = time.Seconds(clock_->Now());
    while (!stopped_ && now_ < due) {
      LiveThroughBatch(due);
      RingMonitorData();
    }
    if (!stopped_) clock_->SleepFor(std::min(longestSleep, time.UntilNextSecond()));
  }
}

/// Stops short of `until` when the next second might not fit into the batch.
void CardEngine::LiveThroughBatch(std::int64_t until) {
  constexpr int secondsABatch = MonitorDataBatch::maximumCount / 2;
  for (int second = 0; second < secondsABatch && now_ < until; ++second) LiveThroughSecond();
}

void CardEngine::LiveThroughSecond() {
  Changes changes;
  {
    const std::lock_guard lock(mutex_);
    const CardModel::Second second = model_->Advance();
    now_ = model_->Now();
    pending_.insert(pending_.end(), second.telemetry.begin(), second.telemetry.end());
    while (pending_.size() > longestQueue) pending_.pop_front();
    if (second.genlockChanged) changes.genlock = model_->ReadGenlockStatus();
    if (second.st2059Changed) changes.st2059 = model_->ReadSt2059Status();
    for (std::size_t sfp = 0; sfp < 2; ++sfp) {
      if (second.sfpIpChanged[sfp]) changes.sfpIp[sfp] = model_->ReadSfpIpStatus(sfp);
    }
  }
  Post(changes);
}

void CardEngine::Post(const Changes& changes) {
  if (changes.genlock) {
    genlockThread_.Post([list = genlockCallbacks_, status = *changes.genlock] {
      list->CallEach([&](IUnknown*, IUnknown* callback) {
        static_cast<IZvGenlockNotificationCallback*>(callback)->OnGenlockStatusChanged(&status);
      });
    });
  }
  if (changes.st2059) {
    st2059Thread_.Post([list = st2059Callbacks_, status = *changes.st2059] {
      list->CallEach([&](IUnknown*, IUnknown* callback) {
        static_cast<IZvSmpte2059NotificationCallback*>(callback)->OnSt2059StatusChanged(&status);
      });
    });
  }
  for (std::size_t sfp = 0; sfp < 2; ++sfp) {
    if (!changes.sfpIp[sfp]) continue;
    sfpIpThread_.Post([list = sfpIpCallbacks_[sfp], status = *changes.sfpIp[sfp]] {
      list->CallEach([&](IUnknown* owner, IUnknown* callback) {
        static_cast<IZvSfpIpNotificationCallback*>(callback)->OnSfpIpStatusChanged(
            static_cast<IZvSfpIp*>(owner), &status);
      });
    });
  }
}

/// Once for each batch that waits, as long as the batches are fetched.
void CardEngine::RingMonitorData() {
  std::size_t before = 0;
  std::size_t waiting = PendingCount();
  do {
    before = waiting;
    monitorDataCallbacks_.CallEach([](IUnknown*, IUnknown* callback) {
      static_cast<IZvSmpte2059MonitorDataNotificationCallback*>(callback)->OnMonitorDataReady();
    });
    waiting = PendingCount();
  } while (waiting != 0 && waiting < before && !stopped_);
}

std::size_t CardEngine::PendingCount() {
  const std::lock_guard lock(mutex_);
  return pending_.size();
}

}  // namespace kestrune::simulated
