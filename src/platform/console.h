#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace kestrune {

/// Prints one or several whole lines to standard output, in one write where the system can. A console that
/// fails is tried anew with the next call; how many calls' lines were dropped is printed as soon as it takes
/// lines again. May be called from any thread. Waits for the console, unless a ConsoleWriter lives.
void PrintToConsole(std::string lines);

/// While it lives nobody waits for the console: what is printed goes into a queue, in its order, and a thread
/// writes it. When the queue is full, its oldest lines are dropped. One at a time; created and destroyed by
/// the main thread.
class ConsoleWriter {
 public:
  /// Without a thread to be had, printing goes on as before.
  ConsoleWriter();
  /// Waits for the queue as FinishConsole does. A thread that a stalled console still holds then is left
  /// behind, and with it the queue: what is printed afterwards waits there too.
  ~ConsoleWriter();
  ConsoleWriter(const ConsoleWriter&) = delete;
  ConsoleWriter& operator=(const ConsoleWriter&) = delete;
};

/// Waits until everything printed so far is written, though no longer than a second.
void FinishConsole();

/// How many calls' lines wait for a stalled console at most.
inline constexpr std::size_t consoleQueueLength = 8192;

/// Takes a text for the console and returns how many of its bytes it took: all of them, unless it failed.
using ConsoleSink = std::function<std::size_t(std::string_view text)>;

/// Puts `sink` in the place of the console and returns the one before it. Without a ConsoleWriter only.
ConsoleSink ReplaceConsoleSink(ConsoleSink sink);

/// The console itself: standard output, with the system's own line ends. Returns early on an error only.
std::size_t WriteStandardOutput(std::string_view text);

}  // namespace kestrune
