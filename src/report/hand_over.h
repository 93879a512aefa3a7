#pragma once

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <utility>
#include <vector>

#include "platform/mutex.h"

namespace kestrune::report {

/// Carries batches from one thread to another in their order. Few wait at a time, and those that were taken
/// come back to be filled again, so that memory is neither piled up nor asked for anew.
template <typename Batch>
class HandOver {
 public:
  /// Gives a batch away for one that was taken before, or a new one; waits while too many wait.
  void Put(Batch& batch) {
    {
      const MutexLock lock(mutex_);
      changed_.wait(mutex_, [this]() REQUIRES(mutex_) { return waiting_.size() < mostWaiting; });
      waiting_.push_back(std::exchange(batch, {}));
      if (!taken_.empty()) {
        batch = std::move(taken_.back());
        taken_.pop_back();
      }
    }
    changed_.notify_one();
  }

  /// Nothing will be put any more.
  void End() {
    {
      const MutexLock lock(mutex_);
      ended_ = true;
    }
    changed_.notify_one();
  }

  /// Waits for the next batch and gives back the one before. False at the end.
  bool Take(Batch& batch) {
    {
      const MutexLock lock(mutex_);
      changed_.wait(mutex_, [this]() REQUIRES(mutex_) { return ended_ || !waiting_.empty(); });
      if (waiting_.empty()) return false;
      taken_.push_back(std::exchange(batch, std::move(waiting_.front())));
      waiting_.pop_front();
    }
    changed_.notify_one();
    return true;
  }

 private:
  static constexpr std::size_t mostWaiting = 2;

  Mutex mutex_;
  std::condition_variable_any changed_;
  std::deque<Batch> waiting_ GUARDED_BY(mutex_);
  std::vector<Batch> taken_ GUARDED_BY(mutex_);
  bool ended_ GUARDED_BY(mutex_) = false;
};

}  // namespace kestrune::report
