#pragma once

#include <condition_variable>
#include <thread>
#include <vector>

#include "platform/com.h"
#include "platform/mutex.h"

namespace kestrune::kit {

/// The callbacks of one kind that are registered on one card, each by the interface object (the owner) that
/// it was registered with. One thread, the delivering one, calls them; any thread registers and unregisters.
/// No lock is held while a callback runs.
class CallbackList {
 public:
  /// Takes a reference on the callback. ZV_E_INVALID_POINTER for null, ZV_E_INVALID_PARAMETER for a callback
  /// that the owner holds already.
  HRESULT Register(IUnknown* owner, IUnknown* callback);

  /// Returns once no call of the callback is under way, unless it is made from within that call, and gives
  /// the reference back. ZV_E_INVALID_POINTER for null, ZV_E_NOT_FOUND for what isn't registered.
  HRESULT Unregister(IUnknown* owner, IUnknown* callback);

  /// The same for all of an owner's callbacks, when the owner goes.
  void UnregisterAll(IUnknown* owner);

  /// Runs `call(owner, callback)` for each registered callback, in the order of registration. Always on the
  /// same thread.
  template <class Call>
  void CallEach(Call&& call) {
    for (const Entry& entry : Entries()) {
      if (!Begin(entry)) continue;
      call(entry.owner, entry.callback);
      End(entry);
    }
  }

 private:
  struct Entry {
    IUnknown* owner = nullptr;
    IUnknown* callback = nullptr;
    bool operator==(const Entry&) const = default;
  };

  std::vector<Entry> Entries();
  bool Begin(const Entry& entry);
  void End(const Entry& entry);
  bool MustWaitFor(const Entry& entry) const REQUIRES(mutex_);

  Mutex mutex_;
  std::condition_variable_any returned_;
  std::vector<Entry> entries_ GUARDED_BY(mutex_);
  Entry inCall_ GUARDED_BY(mutex_);
  std::thread::id deliveringThread_ GUARDED_BY(mutex_);
};

}  // namespace kestrune::kit
