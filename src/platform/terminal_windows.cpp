#include <windows.h>

#include "platform/terminal.h"

namespace kestrune {

bool IsErrorTerminal() {
  DWORD mode = 0;
  return GetConsoleMode(GetStdHandle(STD_ERROR_HANDLE), &mode) != 0;
}

void WriteStandardError(std::string_view text) {
  DWORD written = 0;
  WriteFile(GetStdHandle(STD_ERROR_HANDLE), text.data(), static_cast<DWORD>(text.size()), &written, nullptr);
}

}  // namespace kestrune
