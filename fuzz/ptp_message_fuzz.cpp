// Arbitrary datagrams, each behind an octet that gives its length, as what a PTP port hears: whatever they
// say, its figures are possible ones and it never asks to be looked after without end.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <span>

#include "network/ptp_port.h"
#include "ptp/follower_record.h"

namespace {

using namespace kestrune;

constexpr ptp::PortIdentity ownPort{0x0200'00FF'FE00'0F01, 1};  // to whom the seeds' responses go
constexpr std::int64_t step = 30'000'000;
constexpr std::int64_t second = 1'000'000'000;

void Check(bool holds) {
  if (!holds) std::abort();
}

void CheckRecord(const ptp::Follower& follower) {
  TelemetryRecord record{};
  ptp::FillRecord(follower, record);
  Check(record.state == 4 || (record.state >= 8 && record.state <= 10));
  Check((record.state == 4) == (follower.Parent() == nullptr));
  Check(record.numberOfPtpMasters <= 5 && (record.numberOfPtpMasters > 0 || record.state == 4));
  const QuantityFigures& delay = record.performanceMonitoring.masterToFollowerDelay;
  Check(delay.minimum.seconds <= delay.maximum.seconds && delay.maximum.seconds <= 100 &&
        delay.minimum.seconds >= -100);
}

/// Sends the requests that are due; nothing is due once it has.
void SendRequests(network::PtpPort& port, std::int64_t now, std::int64_t clock) {
  int sent = 0;
  while (const auto request = port.TakeDueRequest(now)) {
    port.Follower().DelayReqSent(request->sequenceId, clock, clock);
    Check(++sent < 1000);
  }
  Check(port.Deadline(now, true) > now);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  network::PtpPort port({.portIdentity = ownPort, .clockIsUtc = true});
  std::optional<std::int64_t> epoch;  // so that the first master's time is near the clock's
  std::int64_t now = 0;
  for (std::span<const std::uint8_t> left(data, size); left.size() > 1; now += step) {
    const auto datagram = left.subspan(1, std::min<std::size_t>(left[0], left.size() - 1));
    left = left.subspan(1 + datagram.size());
    const auto message = network::Decode(datagram);
    if (!epoch && message && message->timestamp != 0) epoch = message->timestamp - now;
    const std::int64_t clock = epoch.value_or(1) + now;
    port.Hear(datagram, {.now = now, .clockTimestamp = clock, .localTimestamp = clock});
    port.ChooseParent(now);
    SendRequests(port, now, clock);
    if (now % second >= step) continue;
    port.Follower().EndInterval();
    CheckRecord(port.Follower());
  }
  return 0;
}
