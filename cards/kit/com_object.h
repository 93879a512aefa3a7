#pragma once

#include <atomic>

#include "diag/result_codes.h"
#include "platform/com.h"

namespace kestrune::kit {

/// Objects and server locks that keep the library loaded.
inline std::atomic<long> libraryUses{0};

/// The part of a COM object that all have in common: `Derived`, a final class, implements `Interface`. Born
/// with one reference, the creator's. Derived may hide `Answers` and `Close`.
template <class Derived, class Interface>
class ComObject : public Interface {
 public:
  ComObject() { ++libraryUses; }
  ~ComObject() { --libraryUses; }
  ComObject(const ComObject&) = delete;
  ComObject& operator=(const ComObject&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    if (object == nullptr) return E_POINTER;
    *object = nullptr;
    if (!Derived::Answers(iid)) return E_NOINTERFACE;
    AddRef();
    *object = static_cast<Interface*>(this);
    return S_OK;
  }

  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }

  /// The last reference is given up only after Close: until then a callback under way, which was lent this
  /// object, may still take and drop references, or keep one.
  ULONG STDMETHODCALLTYPE Release() override {
    ULONG before = references_;
    while (before > 1) {
      if (references_.compare_exchange_weak(before, before - 1)) return before - 1;
    }
    auto* self = static_cast<Derived*>(this);
    self->Close();
    const ULONG left = --references_;
    if (left == 0) delete self;
    return left;
  }

 protected:
  static bool Answers(REFIID iid) { return IsEqualGUID(iid, IID_IUnknown); }
  void Close() {}

 private:
  std::atomic<ULONG> references_{1};
};

/// Hands a new object over to the caller's out parameter.
template <class Interface, class Object>
HRESULT Give(Interface** out, Object* object) {
  *out = object;
  return S_OK;
}

}  // namespace kestrune::kit
