#pragma once

#include <set>

#include "diag/result_codes.h"
#include "platform/com.h"

namespace kestrune {

/// The result of one operation: an HRESULT that answers whether it failed, and traces failures when it is
/// taken in. Not shared between threads.
class ResultHolder {
 public:
  // Implicit: the card services' results turn into holders.
  ResultHolder(HRESULT code = ZV_NOERROR) : code_(code) { TraceFailure(); }

  /// Copies the tolerated codes too.
  ResultHolder(const ResultHolder& other) : code_(other.code_), tolerated_(other.tolerated_) {
    TraceFailure();
  }
  ResultHolder& operator=(const ResultHolder& other) {
    tolerated_ = other.tolerated_;
    return *this = other.code_;
  }

  /// Keeps the tolerated codes.
  ResultHolder& operator=(HRESULT code) {
    code_ = code;
    TraceFailure();
    return *this;
  }

  /// Takes a code that is expected, such as the end of an enumeration, without tracing it.
  void AssignQuietly(HRESULT code) { code_ = code; }

  /// From now on this code is not traced.
  void Tolerate(HRESULT code) { tolerated_.insert(code); }

  bool Failed() const { return code_ < 0; }
  bool Succeeded() const { return !Failed(); }
  HRESULT Code() const { return code_; }

 private:
  void TraceFailure() const {
    if (Failed()) TraceUntolerated();
  }
  void TraceUntolerated() const;

  HRESULT code_;
  std::set<HRESULT> tolerated_;
};

/// The result of a call that gives an interface: `result`, but ZV_E_INVALID_POINTER when it is a success that
/// left the smart pointer empty.
template <class SmartPointer>
HRESULT CheckGiven(HRESULT result, const SmartPointer& given) {
  return SUCCEEDED(result) && given.IsNull() ? ZV_E_INVALID_POINTER : result;
}

}  // namespace kestrune
