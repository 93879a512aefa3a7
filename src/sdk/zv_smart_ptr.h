#pragma once

#include <string>

namespace kestrune {

class CZvBaseException {
 public:
  explicit CZvBaseException(const char* message) : message_(message) {}
  virtual ~CZvBaseException() = default;

  const std::string& Message() const { return message_; }

 private:
  std::string message_;
};

/// Misuse of a TZvSmartPtr.
class CZvSmartPointerException : public CZvBaseException {
 public:
  using CZvBaseException::CZvBaseException;
};

/// Owns one reference on an interface (or on a component of ours), or is empty. One instance is used by one
/// thread at a time.
template <class T>
class TZvSmartPtr {
 public:
  TZvSmartPtr() = default;

  /// Takes a reference of its own.
  TZvSmartPtr(const TZvSmartPtr& other) { *this = other.pointer_; }
  TZvSmartPtr& operator=(const TZvSmartPtr& other) {
    *this = other.pointer_;
    return *this;
  }

  /// Gives the reference back.
  virtual ~TZvSmartPtr() {
    if (pointer_ != nullptr) pointer_->Release();
    pointer_ = nullptr;
  }

  /// Null when empty; no reference is taken.
  virtual T* Get() const { return pointer_; }

  /// No reference is taken. Throws when empty.
  virtual T* operator*() const {
    if (pointer_ == nullptr) {
      throw CZvSmartPointerException("TZvSmartPtr::operator* -> Internal pointer is NULL!");
    }
    return pointer_;
  }

  /// Where a creating or querying call stores a pointer that carries a reference already. Throws, and changes
  /// nothing, unless empty.
  virtual T** operator&() {
    if (pointer_ != nullptr) {
      throw CZvSmartPointerException("TZvSmartPtr::operator& -> Internal pointer will be overriden!");
    }
    return &pointer_;
  }

  /// No reference is taken. Throws when empty.
  virtual T* operator->() const {
    if (pointer_ == nullptr) {
      throw CZvSmartPointerException("TZvSmartPtr::operator-> -> Internal pointer is NULL!");
    }
    return pointer_;
  }

  /// Takes a reference on `pointer` (null empties), then gives back the one held.
  virtual T* operator=(T* pointer) {
    if (pointer != nullptr) pointer->AddRef();
    if (pointer_ != nullptr) pointer_->Release();
    pointer_ = pointer;
    return pointer_;
  }

  virtual bool IsNull() const { return pointer_ == nullptr; }

  virtual bool operator==(T* pointer) const { return pointer_ == pointer; }

 private:
  T* pointer_ = nullptr;
};

}  // namespace kestrune
