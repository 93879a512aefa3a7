#pragma once

namespace kestrune {

/// Ends the process at once: the console is flushed, but no destructor runs and no file is closed.
[[noreturn]] void EndProcess(int status);

}  // namespace kestrune
