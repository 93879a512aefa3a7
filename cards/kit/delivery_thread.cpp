#include "kit/delivery_thread.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <utility>

#include "kit/com_object.h"

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
  std::mutex mutex;  // guards everything below
  std::condition_variable wake;
  std::deque<std::function<void()>> tasks;
  bool stopped = false;
};

DeliveryThread::DeliveryThread() : state_(std::make_shared<State>()) {}

void DeliveryThread::Post(std::function<void()> task) {
  {
    const std::lock_guard lock(state_->mutex);
    state_->tasks.push_back(std::move(task));
  }
  state_->wake.notify_one();
  if (!thread_.joinable()) thread_ = std::thread(Run, state_);
}

void DeliveryThread::Stop() {
  {
    const std::lock_guard lock(state_->mutex);
    state_->stopped = true;
    state_->tasks.clear();
  }
  state_->wake.notify_one();
  JoinOrLeave(thread_);
}

void DeliveryThread::Run(const std::shared_ptr<State>& state) {
  std::unique_lock lock(state->mutex);
  for (;;) {
    state->wake.wait(lock, [&] { return state->stopped || !state->tasks.empty(); });
    if (state->stopped) return;
    const auto task = std::move(state->tasks.front());
    state->tasks.pop_front();
    lock.unlock();
    task();
    lock.lock();
  }
}

}  // namespace kestrune::kit
