#pragma once

#include <functional>
#include <memory>
#include <thread>

namespace kestrune::kit {

/// Ends a thread that has been told to stop: waits for it, except on that thread itself, which is left to run
/// out. The library then stays loaded for good, as nobody can tell when that thread has left its code.
void JoinOrLeave(std::thread& thread);

/// Runs tasks one after the other, in the order posted, on a thread of its own that the first task starts.
class DeliveryThread {
 public:
  DeliveryThread();
  ~DeliveryThread() { Stop(); }
  DeliveryThread(const DeliveryThread&) = delete;
  DeliveryThread& operator=(const DeliveryThread&) = delete;

  /// One thread posts.
  void Post(std::function<void()> task);

  /// Drops the tasks that wait and ends the thread. Nobody posts any more.
  void Stop();

 private:
  struct State;
  static void Run(const std::shared_ptr<State>& shared);

  std::shared_ptr<State> state_;  // shared with the thread, which may outlive this object
  std::thread thread_;            // of the posting thread, then of the stopping one
};

}  // namespace kestrune::kit
