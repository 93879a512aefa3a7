#include "platform/console.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <thread>
#include <utility>

#include "platform/clock.h"

namespace kestrune {
namespace {

constexpr std::chrono::seconds longestFinish{1};

class Console {
 public:
  void Print(std::string lines) {
    std::unique_lock lock(mutex_);
    if (!queueing_) {
      Write(lines);
      return;
    }
    if (queue_.size() == consoleQueueLength) {
      queue_.pop_front();
      ++dropped_;
    }
    queue_.push_back(std::move(lines));
    lock.unlock();
    changed_.notify_all();
  }

  void StartQueue() {
    const std::lock_guard lock(mutex_);
    queueing_ = true;
    stopped_ = false;
    thread_ = std::thread([this] { EmptyQueue(); });
  }

  void StopQueue() {
    const bool finished = Finish();
    {
      const std::lock_guard lock(mutex_);
      stopped_ = true;
      if (finished) queueing_ = false;
    }
    changed_.notify_all();
    if (finished) {
      thread_.join();
    } else {
      thread_.detach();
    }
  }

  /// Whether nothing waits any more.
  bool Finish() {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, longestFinish, [this] { return queue_.empty() && !writing_; });
  }

  ConsoleSink Replace(ConsoleSink sink) {
    const std::lock_guard lock(mutex_);
    return std::exchange(sink_, std::move(sink));
  }

 private:
  void EmptyQueue() {
    std::unique_lock lock(mutex_);
    for (;;) {
      changed_.wait(lock, [this] { return stopped_ || !queue_.empty(); });
      if (queue_.empty()) return;
      const std::string lines = std::move(queue_.front());
      queue_.pop_front();
      writing_ = true;
      const std::uint64_t dropped = std::exchange(dropped_, 0);
      lock.unlock();
      const std::uint64_t lost = Write(lines, dropped);
      lock.lock();
      dropped_ += lost;
      writing_ = false;
      if (queue_.empty()) changed_.notify_all();
    }
  }

  void Write(std::string_view lines) { dropped_ = Write(lines, dropped_); }

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

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::string> queue_;
  std::uint64_t dropped_ = 0;
  bool queueing_ = false;
  bool stopped_ = false;
  bool writing_ = false;
  std::thread thread_;

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
