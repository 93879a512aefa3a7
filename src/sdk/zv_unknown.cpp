#include "sdk/zv_unknown.h"

#include <algorithm>

namespace kestrune {

CZvUnknown::CZvUnknown(const wchar_t*, INonDelegatingUnknown* outer)
    : outer_(outer != nullptr ? outer : this) {
  ++liveObjects_;
}

CZvUnknown::~CZvUnknown() { --liveObjects_; }

HRESULT CZvUnknown::NonDelegatingQueryInterface(REFIID iid, void** object) {
  if (object == nullptr) return E_POINTER;
  if (!IsEqualGUID(iid, IID_IUnknown)) {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  auto* self = static_cast<INonDelegatingUnknown*>(this);
  *object = self;
  self->NonDelegatingAddRef();
  return S_OK;
}

ULONG CZvUnknown::NonDelegatingAddRef() {
  ++referenceCount_;
  return std::max(referenceCount_.load(), 1U);
}

ULONG CZvUnknown::NonDelegatingRelease() {
  const std::uint32_t before = referenceCount_--;
  if (before != 1) return before - 1;
  ++referenceCount_;  // so that a pair of AddRef and Release during destruction doesn't get here again
  delete this;
  return 0;
}

}  // namespace kestrune
