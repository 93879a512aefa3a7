#include <malloc.h>

#include "platform/heap.h"

namespace kestrune {

void ReturnFreedBlocks() {
  constexpr int large = 256 * 1024;  // bytes
  // Set, it doesn't grow with what is freed.
  mallopt(M_MMAP_THRESHOLD, large);
}

}  // namespace kestrune
