#include "platform/heap.h"

namespace kestrune {

void ReturnFreedBlocks() {}  // the system's heap does so

}  // namespace kestrune
