#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "network/configuration.h"
#include "network/failure.h"
#include "network/link_watch.h"
#include "network/ptp_port.h"
#include "network/stamped_socket.h"
#include "sdk/telemetry_record.h"

namespace kestrune::network {

/// One network interface: its link, its sockets and the follower behind them. Not thread-safe. Times are in
/// nanoseconds on a clock that only goes forward.
class NetworkInterface {
 public:
  /// `sfp` is the SFP index. `configuration` and `watch` outlive it.
  NetworkInterface(const Configuration& configuration, std::size_t sfp, const LinkWatch& watch);

  /// Opens the interface, which must be there and ready, for the first time.
  std::optional<Failure> Begin(std::int64_t now);

  /// Sees how the link is; opens an interface again that has been away or has another address.
  void LookAtLink();

  /// Hears what has come and asks for the delay when that is due. How many datagrams were heard.
  int Attend(std::int64_t now);

  /// When it wants to be attended to next, at the latest.
  std::int64_t Deadline(std::int64_t now) const { return port_->Deadline(now, MaySend()); }

  /// Ends a telemetry interval that was so long. An interface that is there and can't be heard is told on
  /// standard error, once.
  void CloseInterval(std::int64_t nanoseconds);

  /// Of the last interval closed.
  const TelemetryRecord& Record() const { return record_; }

  const ptp::Follower& Follower() const { return port_->Follower(); }

  /// The follower's state, or that it can't hear anything.
  ptp::PortState State() const { return general_ ? Follower().State() : ptp::PortState::Faulty; }

  bool Present() const { return link_.has_value(); }
  bool Carrier() const { return link_ && link_->carrier; }

  /// By which the system calls it; from Begin on.
  const std::string& Name() const { return openName_; }

  /// As texts have it, of 12 digits.
  const std::string& MacAddress() const { return macAddress_; }

 private:
  std::optional<Failure> Open(const Link& link);
  void Close();
  void TellFailure();
  bool MaySend() const { return event_ && Carrier(); }
  int HearBoth(std::int64_t now);
  int HearSome(StampedSocket& socket, std::int64_t now);
  void EnterLink(std::int64_t nanoseconds);

  const Configuration& configuration_;
  const std::size_t sfp_;
  const std::string name_;  ///< as it was asked for
  const LinkWatch& watch_;

  std::optional<Link> link_;  ///< none: there is no such interface now
  unsigned openIndex_ = 0;    ///< of the interface that the sockets are on, as the next
  std::string openName_;
  std::optional<std::uint32_t> openAddress_;
  std::optional<Failure> failure_;  ///< why they are not open
  std::string told_;
  std::optional<StampedSocket> event_;
  std::optional<StampedSocket> general_;
  std::optional<PtpPort> port_;  ///< from Begin on
  std::string macAddress_;
  std::int64_t attended_ = 0;
  Link counted_;  ///< as it stood at the end of the last interval
  TelemetryRecord record_{};
};

}  // namespace kestrune::network
