#pragma once

#include <atomic>
#include <cstdint>

#include "platform/com.h"

namespace kestrune {

/// The object's own three operations of IUnknown, apart from those of its interfaces, which go to whoever
/// controls the object's lifetime. Laid out like IUnknown, so it can be handed out as one.
struct INonDelegatingUnknown {
  virtual HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID iid, void** object) = 0;
  virtual ULONG STDMETHODCALLTYPE NonDelegatingAddRef() = 0;
  virtual ULONG STDMETHODCALLTYPE NonDelegatingRelease() = 0;
  virtual ~INonDelegatingUnknown() = default;
};

/// Base of every component. A component derives from it first, then from its interfaces, and names
/// ZV_FORWARD_UNKNOWN in its body. Its count starts at 0: the first reference keeps it, the last one's
/// release deletes it. The count may be touched from any thread.
class CZvUnknown : public INonDelegatingUnknown {
 public:
  /// `name` is the component's name, for a reader of the code only. `outer` controls the object when it is
  /// part of an aggregate; null: the object controls itself.
  explicit CZvUnknown(const wchar_t* name, INonDelegatingUnknown* outer = nullptr);
  ~CZvUnknown() override;

  CZvUnknown(const CZvUnknown&) = delete;
  CZvUnknown& operator=(const CZvUnknown&) = delete;

  /// Answers IID_IUnknown only, on purpose: the card services are handed the callback interfaces themselves.
  /// E_NOINTERFACE and a null object for everything else.
  HRESULT STDMETHODCALLTYPE NonDelegatingQueryInterface(REFIID iid, void** object) override;
  ULONG STDMETHODCALLTYPE NonDelegatingAddRef() override;
  ULONG STDMETHODCALLTYPE NonDelegatingRelease() override;

  /// How many components live in the process.
  static std::int32_t LiveObjects() { return liveObjects_; }

 protected:
  INonDelegatingUnknown* Outer() const { return outer_; }

 private:
  static inline std::atomic<std::int32_t> liveObjects_ = 0;

  INonDelegatingUnknown* outer_;
  std::atomic<std::uint32_t> referenceCount_ = 0;
};

}  // namespace kestrune

/// The operations of IUnknown of a component's interfaces: they go to the controlling unknown. `specifier` is
/// override, or empty in a component without an interface.
#define ZV_FORWARD_UNKNOWN(specifier)                                                           \
  virtual HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) specifier {       \
    return Outer()->NonDelegatingQueryInterface(iid, object);                                   \
  }                                                                                             \
  virtual ULONG STDMETHODCALLTYPE AddRef() specifier { return Outer()->NonDelegatingAddRef(); } \
  virtual ULONG STDMETHODCALLTYPE Release() specifier { return Outer()->NonDelegatingRelease(); }
