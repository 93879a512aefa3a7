#include "kit/delivery_thread.h"

#include <condition_variable>
#include <deque>
#include <utility>

#include "kit/com_object.h"
#include "platform/mutex.h"

namespace kestrune::kit {

void JoinOrLeave(std::thread& thread) {
  if (!thread.joinable()) return;
  if (thread.get_id() != std::this_thread::get_id()) {
    thread.join();
  } else {
    ++libraryUses;
    thread.detach();
  }
}

struct DeliveryThread::State {
  Mutex mutex;
  std::condition_variable_any wake;
  std::deque<std::function<void()>> tasks GUARDED_BY(mutex);
  bool stopped GUARDED_BY(mutex) = false;
};

DeliveryThread::DeliveryThread() : state_(std::make_shared<State>()) {}

void DeliveryThread::Post(std::function<void()> task) {
  {
    const MutexLock lock(state_->mutex);
    state_->tasks.push_back(std::move(task));
  }
  state_->wake.notify_one();
  if (!thread_.joinable()) thread_ = std::thread(Run, state_);
}

void DeliveryThread::Stop() {
  {
    const MutexLock lock(state_->mutex);
    state_->stopped = true;
    state_->tasks.clear();
  }
  state_->wake.notify_one();
  JoinOrLeave(thread_);
}

void DeliveryThread::Run(const std::shared_ptr<State>& shared) {
  State& state = *shared;
  const MutexLock lock(state.mutex);
  for (;;) {
    state.wake.wait(state.mutex,
                    [&]() REQUIRES(state.mutex) { return state.stopped || !state.tasks.empty(); });
    if (state.stopped) return;
    const auto task = std::move(state.tasks.front());
    state.tasks.pop_front();
    state.mutex.unlock();
    task();
    state.mutex.lock();
  }
}

}  // namespace kestrune::kit
