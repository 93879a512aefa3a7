#pragma once

#include <cstdint>

#include "sdk/telemetry_record.h"
#include "simulated/random.h"
#include "simulated/scenario.h"

namespace kestrune::simulated {

/// One SFP's module, its fibre and the path behind it: what becomes of each packet, and the link's counters.
class SfpLink {
 public:
  SfpLink(const Sfp& sfp, Random random);

  bool ModulePresent() const { return modulePresent_; }
  bool SignalPresent() const { return modulePresent_ && fibrePresent_; }
  bool TransmitError() const { return transmitError_; }

  void SetModulePresent(bool present) { modulePresent_ = present; }
  void SetFibrePresent(bool present) { fibrePresent_ = present; }
  void SetTransmitError(bool error) { transmitError_ = error; }
  void SetPath(const Path& path) { path_ = path; }
  void SetLinkSpeed(std::uint32_t code) { linkSpeed_ = code; }

  /// A packet of `octets` (on the wire, headers included) on its way to the card; whether it gets there.
  bool Receive(std::uint32_t octets);

  /// A packet that the card sends; whether it gets to the master.
  bool Transmit(std::uint32_t octets);

  /// One message's delay in nanoseconds from the master to the card, never negative.
  double DrawReceiveDelay() { return DrawDelay(path_.asymmetryNs); }

  /// One message's delay in nanoseconds from the card to the master, never negative.
  double DrawTransmitDelay() { return DrawDelay(-path_.asymmetryNs); }

  /// Carries one slot's share of the media: a stream of 1080p50 video in each direction.
  void CarryMedia();

  /// Enters the link's figures into `record` and begins a new telemetry interval.
  void CloseInterval(TelemetryRecord& record);

 private:
  double DrawDelay(double asymmetryNs);

  Random random_;
  bool modulePresent_;
  bool fibrePresent_;
  bool transmitError_;
  std::uint32_t linkSpeed_;
  Path path_;
  std::uint64_t octetsReceived_ = 0;  ///< in this interval, as the next
  std::uint64_t octetsTransmitted_ = 0;
  std::uint64_t packetsReceived_ = 0;
  std::uint64_t packetsTransmitted_ = 0;
  std::uint64_t packetsDropped_ = 0;
  std::uint64_t packetErrors_ = 0;
  double mediaLost_ = 0;  ///< the fraction of a lost media packet that is not counted yet
};

}  // namespace kestrune::simulated
