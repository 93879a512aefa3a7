#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "files/period_test_results.h"
#include "report/period_lines.h"

// Any text as period test results: a line that was taken is one that the recorder could have written.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace kestrune;
  const std::string text(reinterpret_cast<const char*>(data), size);
  report::TimeZone zone;
  for (const report::PeriodLine& line : report::ParsePeriodLines(text, zone).lines) {
    if (line.sfp > 1 || line.sfp < 0 || line.minutes < 0 || line.run < 0) std::abort();
    // Leading zeros are as good.
    const std::string values = FormatPeriodResults(line.results);
    if (text.find("0,") == std::string::npos && text.find(",0") == std::string::npos &&
        text.find(values) == std::string::npos) {
      std::abort();
    }
  }
  return 0;
}
