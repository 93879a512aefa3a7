#include <unistd.h>

#include "platform/terminal.h"

namespace kestrune {

bool IsErrorTerminal() { return isatty(STDERR_FILENO) == 1; }

void WriteStandardError(std::string_view text) {
  [[maybe_unused]] const ssize_t written = write(STDERR_FILENO, text.data(), text.size());
}

}  // namespace kestrune
