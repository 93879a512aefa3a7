#pragma once

#include <unistd.h>

#include <utility>

namespace kestrune::network {

/// Owns a file descriptor; -1: none.
class Descriptor {
 public:
  explicit Descriptor(int number = -1) : number_(number) {}
  Descriptor(Descriptor&& other) noexcept : number_(std::exchange(other.number_, -1)) {}
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }

  int Number() const { return number_; }
  explicit operator bool() const { return number_ >= 0; }

 private:
  int number_;
};

}  // namespace kestrune::network
