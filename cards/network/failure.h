#pragma once

#include <string>

#include "platform/com.h"

namespace kestrune::network {

/// Why the network can't be heard: the result to return, and the line to print.
struct Failure {
  HRESULT code;
  std::string text;
};

}  // namespace kestrune::network
