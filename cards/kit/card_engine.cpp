#include "kit/card_engine.h"

#include <algorithm>
#include <chrono>

#include "kit/card_time.h"
#include "sdk/card_services.h"

namespace kestrune::kit {
namespace {

/// How long a stop may have to wait for the telemetry thread to wake up.
constexpr std::chrono::milliseconds longestSleep{200};

}  // namespace

CardEngine::CardEngine(std::unique_ptr<Card> card, std::shared_ptr<Clock> clock)
    : card_(std::move(card)),
      description_(card_->Description()),
      clock_(std::move(clock)),
      sfpIpCallbacks_{std::make_shared<CallbackList>(), std::make_shared<CallbackList>(),
                      std::make_shared<CallbackList>()} {}

void CardEngine::Start() {
  const MutexLock lock(mutex_);
  if (telemetryThread_.joinable()) return;
  WokenCard();
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
  const MutexLock lock(mutex_);
  const std::size_t count = std::min<std::size_t>(pending_.size(), MonitorDataBatch::maximumCount);
  const auto end = pending_.begin() + static_cast<std::ptrdiff_t>(count);
  std::copy(pending_.begin(), end, batch.records);
  pending_.erase(pending_.begin(), end);
  batch.count = static_cast<std::uint32_t>(count);
}

CallbackList& CardEngine::SfpIpCallbacks(std::uint32_t sfpNumber) {
  return *sfpIpCallbacks_[sfpNumber == 1 || sfpNumber == 2 ? sfpNumber - 1 : 2];
}

Card& CardEngine::WokenCard() {
  if (!awake_) {
    card_->Wake(std::chrono::nanoseconds(Ticks(clock_->NowTicks())).count());
    awake_ = true;
  }
  return *card_;
}

void CardEngine::Run() {
  if (description_.wait) {
    LiveInRealTime();
  } else {
    LiveBySeconds();
  }
}

void CardEngine::LiveInRealTime() {
  while (!stopped_) {
    const std::int64_t before = now_;
    LiveThroughStep();
    if (now_ != before) RingMonitorData();
    if (!stopped_) description_.wait(longestSleep);
  }
}

void CardEngine::LiveBySeconds() {
  const auto now = [this] { return CardTime::Time(Ticks(clock_->NowTicks())); };
  CardTime time(now());
  while (!stopped_) {
    const std::int64_t due = time.Seconds(now());
    while (!stopped_ && now_ < due) {
      LiveThroughBatch(due);
      RingMonitorData();
    }
    if (!stopped_) clock_->SleepFor(std::min(longestSleep, time.UntilNextSecond()));
  }
}

/// Stops short of `until` when the next second might not fit into the batch, or needs one of its own.
void CardEngine::LiveThroughBatch(std::int64_t until) {
  const int secondsABatch = description_.inOrder ? 1 : MonitorDataBatch::maximumCount / 2;
  for (int second = 0; second < secondsABatch && now_ < until; ++second) LiveThroughSecond();
}

void CardEngine::LiveThroughSecond() {
  const std::int64_t before = now_;
  while (now_ == before && !stopped_) LiveThroughStep();
}

void CardEngine::LiveThroughStep() {
  Changes changes;
  {
    const MutexLock lock(mutex_);
    const Card::Step step = card_->Advance();
    now_ = card_->Now();
    pending_.insert(pending_.end(), step.telemetry.begin(), step.telemetry.end());
    while (pending_.size() > longestQueue) pending_.pop_front();
    if (step.genlockChanged) changes.genlock = card_->ReadGenlockStatus();
    if (step.st2059Changed) changes.st2059 = card_->ReadSt2059Status();
    for (std::size_t sfp = 0; sfp < 2; ++sfp) {
      if (step.sfpIpChanged[sfp]) changes.sfpIp[sfp] = card_->ReadSfpIpStatus(sfp);
    }
  }
  Post(changes);
}

void CardEngine::Deliver(DeliveryThread& thread, std::function<void()> task) {
  if (description_.inOrder) {
    task();
  } else {
    thread.Post(std::move(task));
  }
}

void CardEngine::Post(const Changes& changes) {
  if (changes.genlock) {
    Deliver(genlockThread_, [list = genlockCallbacks_, status = *changes.genlock] {
      list->CallEach([&](IUnknown*, IUnknown* callback) {
        static_cast<IZvGenlockNotificationCallback*>(callback)->OnGenlockStatusChanged(&status);
      });
    });
  }
  if (changes.st2059) {
    Deliver(st2059Thread_, [list = st2059Callbacks_, status = *changes.st2059] {
      list->CallEach([&](IUnknown*, IUnknown* callback) {
        static_cast<IZvSmpte2059NotificationCallback*>(callback)->OnSt2059StatusChanged(&status);
      });
    });
  }
  for (std::size_t sfp = 0; sfp < 2; ++sfp) {
    if (!changes.sfpIp[sfp]) continue;
    Deliver(sfpIpThread_, [list = sfpIpCallbacks_[sfp], status = *changes.sfpIp[sfp]] {
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
  const MutexLock lock(mutex_);
  return pending_.size();
}

}  // namespace kestrune::kit
