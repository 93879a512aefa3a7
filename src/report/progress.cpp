#include "report/progress.h"

#include <chrono>
#include <string>

#include "platform/terminal.h"

namespace kestrune::report {
namespace {

constexpr int barLength = 40;
constexpr auto patience = std::chrono::milliseconds(500);
constexpr auto pause = std::chrono::milliseconds(100);

std::string Bar(std::uint64_t done, std::uint64_t all) {
  const double share = all > 0 ? static_cast<double>(done) / static_cast<double>(all) : 1;
  const auto full = static_cast<std::size_t>(share * barLength);
  std::string bar(full, '#');
  bar.append(barLength - full, '.');
  const std::string percent = std::to_string(static_cast<int>(share * 100));
  return "\r[" + bar + "] " + std::string(3 - percent.size(), ' ') + percent + " %";
}

}  // namespace

void ShowProgress(std::uint64_t done, std::uint64_t all) {
  using Time = std::chrono::steady_clock;
  static const Time::time_point begin = Time::now();
  static Time::time_point last = begin;
  static bool shown = false;
  if (!IsErrorTerminal()) return;
  const Time::time_point now = Time::now();
  if (done >= all) {
    if (shown) WriteStandardError("\r" + std::string(barLength + 10, ' ') + "\r");
    shown = false;
  } else if (now - begin >= patience && now - last >= pause) {
    WriteStandardError(Bar(done, all));
    shown = true;
    last = now;
  }
}

}  // namespace kestrune::report
