#pragma once

namespace kestrune {

/// Makes the process outlive its console and its limits: a reader that goes, a file size limit and a terminal
/// that stops background output become failed writes, and so does a standard descriptor that was closed,
/// which no file takes. Called by main before anything else.
void PrepareProcess();

/// Ends the process at once, when the console has what was printed or doesn't move: no destructor runs and no
/// file is closed.
[[noreturn]] void EndProcess(int status);

}  // namespace kestrune
