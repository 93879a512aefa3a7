#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

#include "network/descriptor.h"
#include "network/failure.h"

namespace kestrune::network {

/// A network interface as it is now.
struct Link {
  unsigned index = 0;
  std::string name;      ///< of several the one by which the system calls it
  bool carrier = false;  ///< up, and something at the other end
  std::array<std::uint8_t, 6> macAddress{};
  // Since the interface came to be.
  std::uint64_t octetsReceived = 0;
  std::uint64_t octetsTransmitted = 0;
  std::uint64_t packetsReceived = 0;
  std::uint64_t packetsTransmitted = 0;
  std::uint64_t transmitDropped = 0;
  std::uint64_t receiveErrors = 0;
};

/// The system's network interfaces: what they are, and when one of them changes.
class LinkWatch {
 public:
  /// Fails when the system has no more sockets to give.
  static std::optional<LinkWatch> Open();

  /// Returns when an interface or its address has changed, or when so many nanoseconds have passed.
  void WaitForChange(std::int64_t nanoseconds) const;

  /// Whether an interface or its address has changed since the last call.
  bool TakeChange();

  /// None when there is no such interface. `interface` may be an alternative name of it.
  std::optional<Link> Read(const std::string& interface) const;

  // By the name in `Link`.

  /// The first of its addresses, as it stands in a packet; none when it has no IPv4 address.
  std::optional<std::uint32_t> Ipv4Address(const std::string& interface) const;

  /// In Mbit/s; 0: unknown.
  std::uint32_t Speed(const std::string& interface) const;

 private:
  LinkWatch(Descriptor changes, Descriptor requests, Descriptor device)
      : changes_(std::move(changes)), requests_(std::move(requests)), device_(std::move(device)) {}

  Descriptor changes_;
  Descriptor requests_;
  Descriptor device_;  ///< of no matter what kind, for questions by an interface's name
};

}  // namespace kestrune::network
