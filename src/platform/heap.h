#pragma once

namespace kestrune {

/// Lets the process give large blocks back to the system when they are freed, rather than keep them for later
/// in the heap of the thread that had them. Called by main before it starts a thread.
void ReturnFreedBlocks();

}  // namespace kestrune
