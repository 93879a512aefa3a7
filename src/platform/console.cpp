#include "platform/console.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <system_error>
#include <thread>
#include <utility>

#include "platform/clock.h"
#include "platform/mutex.h"

namespace kestrune {
namespace {

constexpr std::chrono::seconds longestFinish{1};

class Console {
 public:
  void Print(std::string lines) {
    const MutexLock lock(mutex_);
    if (!queueing_) {
      dropped_ = Write(lines, dropped_);
      return;
    }
    if (queue_.size() == consoleQueueLength) {
      queue_.pop_front();
      ++dropped_;
    }
    queue_.push_back(std::move(lines));
    changed_.notify_all();
  }

  void StartQueue() {
    const MutexLock lock(mutex_);
    stopped_ = false;
    try {
      thread_ = std::thread([this] { EmptyQueue(); });
      queueing_ = true;
    } catch (const std::system_error&) {  // no thread to be had: whoever prints waits, as without a queue
    }
  }

  void StopQueue() {
    bool finished = false;
    {
      const MutexLock lock(mutex_);
      finished = WaitUntilEmpty();
      stopped_ = true;
      if (finished) queueing_ = false;
    }
    changed_.notify_all();
    if (!thread_.joinable()) return;
    if (finished) {
      thread_.join();
    } else {
      thread_.detach();
    }
  }

  void Finish() {
    const MutexLock lock(mutex_);
    WaitUntilEmpty();
  }

  ConsoleSink Replace(ConsoleSink sink) {
    const MutexLock lock(mutex_);
    return std::exchange(sink_, std::move(sink));
  }

 private:
  /// Whether nothing waits any more.
  bool WaitUntilEmpty() REQUIRES(mutex_) {
    return changed_.wait_for(mutex_, longestFinish,
                             [this]() REQUIRES(mutex_) { return queue_.empty() && !writing_; });
  }

  void EmptyQueue() {
    const MutexLock lock(mutex_);
    for (;;) {
      changed_.wait(mutex_, [this]() REQUIRES(mutex_) { return stopped_ || !queue_.empty(); });
      if (queue_.empty()) return;
      const std::string lines = std::move(queue_.front());
      queue_.pop_front();
      const std::uint64_t dropped = std::exchange(dropped_, 0);
      writing_ = true;
      mutex_.unlock();
      const std::uint64_t lost = Write(lines, dropped);
      mutex_.lock();
      writing_ = false;
      dropped_ += lost;
      if (queue_.empty()) changed_.notify_all();
    }
  }

  /// Tells of the dropped lines, then writes `lines`. Returns how many nobody has been told of now.
  std::uint64_t Write(std::string_view lines, std::uint64_t dropped) {
    if (dropped > 0) {
      const std::string notice =
          LocalTimeText() + ": Lines dropped while the console took none: " + std::to_string(dropped) + '\n';
      if (!WriteWhole(notice)) return dropped + 1;
    }
    return WriteWhole(lines) ? 0 : 1;
  }

  /// A line that an error has torn is ended before the next one.
  bool WriteWhole(std::string_view text) {
    if (torn_ && sink_("\n") != 1) return false;
    const std::size_t taken = sink_(text);
    torn_ = taken > 0 && taken < text.size();
    return taken == text.size();
  }

  Mutex mutex_;
  std::condition_variable_any changed_;
  std::deque<std::string> queue_ GUARDED_BY(mutex_);
  std::uint64_t dropped_ GUARDED_BY(mutex_) = 0;  ///< of which nobody has been told
  bool queueing_ GUARDED_BY(mutex_) = false;
  bool stopped_ GUARDED_BY(mutex_) = false;
  bool writing_ GUARDED_BY(mutex_) = false;
  std::thread thread_;  ///< main thread only

  // Used by whoever writes: with the mutex held, or the queue's thread without it.
  ConsoleSink sink_ = WriteStandardOutput;
  bool torn_ = false;
};

/// Never destroyed: a thread that the console holds may outlive everything.
Console& TheConsole() {
  static auto& console = *new Console;
  return console;
}

}  // namespace

void PrintToConsole(std::string lines) { TheConsole().Print(std::move(lines)); }

ConsoleWriter::ConsoleWriter() { TheConsole().StartQueue(); }

ConsoleWriter::~ConsoleWriter() { TheConsole().StopQueue(); }

void FinishConsole() { TheConsole().Finish(); }

ConsoleSink ReplaceConsoleSink(ConsoleSink sink) { return TheConsole().Replace(std::move(sink)); }

}  // namespace kestrune
