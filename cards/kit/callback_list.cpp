#include "kit/callback_list.h"

#include <algorithm>
#include <iterator>

#include "diag/result_codes.h"

namespace kestrune::kit {

HRESULT CallbackList::Register(IUnknown* owner, IUnknown* callback) {
  if (callback == nullptr) return ZV_E_INVALID_POINTER;
  callback->AddRef();
  {
    const Entry entry{owner, callback};
    const MutexLock lock(mutex_);
    if (std::ranges::find(entries_, entry) == entries_.end()) {
      entries_.push_back(entry);
      return S_OK;
    }
  }
  callback->Release();
  return ZV_E_INVALID_PARAMETER;
}

HRESULT CallbackList::Unregister(IUnknown* owner, IUnknown* callback) {
  if (callback == nullptr) return ZV_E_INVALID_POINTER;
  const Entry entry{owner, callback};
  {
    const MutexLock lock(mutex_);
    if (std::erase(entries_, entry) == 0) return ZV_E_NOT_FOUND;
    returned_.wait(mutex_, [&]() REQUIRES(mutex_) { return !MustWaitFor(entry); });
  }
  callback->Release();
  return S_OK;
}

void CallbackList::UnregisterAll(IUnknown* owner) {
  std::vector<Entry> gone;
  {
    const MutexLock lock(mutex_);
    std::ranges::copy_if(entries_, std::back_inserter(gone),
                         [&](const Entry& entry) { return entry.owner == owner; });
    std::erase_if(entries_, [&](const Entry& entry) { return entry.owner == owner; });
    returned_.wait(mutex_,
                   [&]() REQUIRES(mutex_) { return inCall_.owner != owner || !MustWaitFor(inCall_); });
  }
  for (const Entry& entry : gone) entry.callback->Release();
}

std::vector<CallbackList::Entry> CallbackList::Entries() {
  const MutexLock lock(mutex_);
  return entries_;
}

/// False when the entry has gone meanwhile. From here to End unregistration waits, so the owner and the
/// callback stay; the reference taken keeps a callback that unregisters itself.
bool CallbackList::Begin(const Entry& entry) {
  {
    const MutexLock lock(mutex_);
    if (std::ranges::find(entries_, entry) == entries_.end()) return false;
    inCall_ = entry;
    deliveringThread_ = std::this_thread::get_id();
  }
  entry.callback->AddRef();
  return true;
}

void CallbackList::End(const Entry& entry) {
  entry.callback->Release();
  {
    const MutexLock lock(mutex_);
    inCall_ = {};
  }
  returned_.notify_all();
}

bool CallbackList::MustWaitFor(const Entry& entry) const {
  return inCall_ == entry && deliveringThread_ != std::this_thread::get_id();
}

}  // namespace kestrune::kit
