#include <cstdlib>
#include <thread>

#include "kit/system.h"

namespace kestrune::kit {
namespace {

class SystemClock final : public Clock {
 public:
  std::chrono::system_clock::time_point Now() override { return std::chrono::system_clock::now(); }
  void SleepFor(std::chrono::milliseconds time) override { std::this_thread::sleep_for(time); }
};

}  // namespace

std::shared_ptr<Clock> MakeSystemClock() { return std::make_shared<SystemClock>(); }

std::string EnvironmentText(const char* name) {
  const char* value = std::getenv(name);
  return value != nullptr ? value : "";
}

std::FILE* OpenForReading(const std::string& path) { return std::fopen(path.c_str(), "rb"); }

}  // namespace kestrune::kit
