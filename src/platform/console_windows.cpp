#include <windows.h>

#include <algorithm>
#include <string>

#include "platform/console.h"
#include "platform/paths.h"

namespace kestrune {

std::size_t WriteStandardOutput(std::string_view text) {
  const std::string native = NativeLines(text);
  const HANDLE console = GetStdHandle(STD_OUTPUT_HANDLE);
  std::size_t taken = 0;
  while (taken < native.size()) {
    DWORD written = 0;
    if (!WriteFile(console, native.data() + taken, static_cast<DWORD>(native.size() - taken), &written,
                   nullptr) ||
        written == 0) {
      break;
    }
    taken += written;
  }
  return taken == native.size() ? text.size() : std::min(taken, text.size() - 1);
}

}  // namespace kestrune
