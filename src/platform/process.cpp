#include "platform/process.h"

#include <cstdlib>

#include "platform/console.h"

namespace kestrune {

void EndProcess(int status) {
  FinishConsole();
  std::_Exit(status);
}

}  // namespace kestrune
