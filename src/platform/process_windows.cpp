#include "platform/process.h"

namespace kestrune {

/// There are no such signals, and standard handles are no numbers that a file could take.
void PrepareProcess() {}

}  // namespace kestrune
