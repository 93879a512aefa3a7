#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <span>
#include <string>
#include <variant>

#include "network/descriptor.h"
#include "network/failure.h"

struct msghdr;

namespace kestrune::network {

/// When a datagram passed the interface, in nanoseconds; 0: not stamped.
struct Stamps {
  std::int64_t system = 0;    ///< by the kernel, on the system's clock: UTC
  std::int64_t hardware = 0;  ///< by the interface, on its own clock
};

struct Datagram {
  std::span<const std::uint8_t> octets;  ///< until the next one is received
  std::array<std::uint8_t, 4> sourceAddress;
  Stamps stamps;
};

/// How a socket is opened.
struct SocketSettings {
  std::string interface;
  unsigned interfaceIndex;
  std::uint32_t address;  ///< of the interface, as it stands in a packet: nothing is sent from another one
  std::uint16_t port;     ///< UDP
  bool sends;
  bool hardwareStamps;  ///< what is sent isn't stamped without the hardware's
};

/// A UDP socket on one interface for PTP's multicast group alone: other programs of this host keep what they
/// are sent. It never waits. The kernel stamps what comes in and, if it may send, what goes out.
class StampedSocket {
 public:
  static std::variant<StampedSocket, Failure> Open(const SocketSettings& settings);

  /// The next datagram, if there is one.
  std::optional<Datagram> Receive();

  /// Sends to the group; what fails is lost. `tag` comes back with the stamps.
  void Send(std::span<const std::uint8_t> octets, std::uint16_t tag);

  struct Sent {
    std::uint16_t tag;
    Stamps stamps;
  };

  /// The next datagram sent whose stamps are complete, if there is one.
  std::optional<Sent> TakeSent();

 private:
  struct Unstamped {
    std::uint32_t number;
    Sent sent;
  };

  StampedSocket(Descriptor socket, const SocketSettings& settings);
  bool StampsOn();
  std::optional<Sent> Complete(std::uint32_t number, const Stamps& stamps);

  Descriptor socket_;
  bool sends_;
  bool hardwareStamps_;
  std::uint16_t port_;
  std::array<std::uint8_t, 1500> octets_{};
  std::uint32_t nextNumber_ = 0;  ///< by which the kernel tells what it stamped
  std::deque<Unstamped> unstamped_;
};

/// Has the interface stamp PTP's event messages in hardware, unless it does so already.
std::optional<Failure> SwitchHardwareStampsOn(const std::string& interface);

}  // namespace kestrune::network
