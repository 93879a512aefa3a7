#pragma once

#include <mutex>

// What clang's -Wthread-safety checks: which mutex guards a member, and which a function needs.
#if defined(__clang__)
#define ZV_THREAD_SAFETY(attribute) __attribute__((attribute))
#else
#define ZV_THREAD_SAFETY(attribute)
#endif
#define GUARDED_BY(mutex) ZV_THREAD_SAFETY(guarded_by(mutex))
#define POINTEE_GUARDED_BY(mutex) ZV_THREAD_SAFETY(pt_guarded_by(mutex))
#define REQUIRES(mutex) ZV_THREAD_SAFETY(requires_capability(mutex))

namespace kestrune {

/// A mutex that the compiler knows. Meets BasicLockable, so that a std::condition_variable_any can wait with
/// it.
class ZV_THREAD_SAFETY(capability("mutex")) Mutex {
 public:
  void lock() ZV_THREAD_SAFETY(acquire_capability()) { mutex_.lock(); }
  void unlock() ZV_THREAD_SAFETY(release_capability()) { mutex_.unlock(); }

 private:
  std::mutex mutex_;
};

/// Holds a mutex as long as it lives.
class ZV_THREAD_SAFETY(scoped_lockable) MutexLock {
 public:
  explicit MutexLock(Mutex& mutex) ZV_THREAD_SAFETY(acquire_capability(mutex)) : mutex_(mutex) {
    mutex_.lock();
  }
  ~MutexLock() ZV_THREAD_SAFETY(release_capability()) { mutex_.unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

 private:
  Mutex& mutex_;
};

}  // namespace kestrune
