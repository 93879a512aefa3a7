#include "network/stamped_socket.h"

#include <arpa/inet.h>
#include <linux/errqueue.h>
#include <linux/ethtool.h>
#include <linux/net_tstamp.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "diag/result_codes.h"
#include "network/clocks.h"

namespace kestrune::network {
namespace {

constexpr std::uint32_t group = 0xE0000181;  // 224.0.1.129
constexpr std::size_t mostUnstamped = 16;
constexpr int receiveBuffer = 1 << 20;  // octets

sockaddr_in GroupAddress(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(group);
  return address;
}

template <class Value>
bool SetOption(int socket, int level, int option, const Value& value) {
  return setsockopt(socket, level, option, &value, sizeof value) == 0;
}

Failure BindFailure(const SocketSettings& settings, int error) {
  const std::string port = "UDP port " + std::to_string(settings.port);
  if (error == EACCES || error == EPERM) {
    return {ZV_E_INTERFACE_AND_PORT_BIND_FAILED,
            "no right to bind " + port + ", which takes the capability CAP_NET_BIND_SERVICE"};
  }
  if (error == EADDRINUSE) {
    return {ZV_E_IPV4_ADDRESS_AND_UDP_PORT_ALREADY_IN_USE,
            port + " is held by another program, which doesn't share it"};
  }
  return {ZV_E_INTERFACE_AND_PORT_BIND_FAILED, "can't bind " + port + ": " + std::strerror(error)};
}

/// On the interface, a member of the group there, and what is sent goes no further than its own segment.
bool JoinGroup(int socket, const SocketSettings& settings) {
  ip_mreqn membership{};
  membership.imr_multiaddr = GroupAddress(settings.port).sin_addr;
  membership.imr_ifindex = static_cast<int>(settings.interfaceIndex);
  membership.imr_address.s_addr = settings.address;
  return SetOption(socket, IPPROTO_IP, IP_ADD_MEMBERSHIP, membership) &&
         SetOption(socket, IPPROTO_IP, IP_MULTICAST_IF, membership) &&
         SetOption(socket, IPPROTO_IP, IP_MULTICAST_TTL, 1) &&
         SetOption(socket, IPPROTO_IP, IP_MULTICAST_LOOP, 0) &&
         SetOption(socket, IPPROTO_IP, IP_MULTICAST_ALL, 0);
}

/// What the kernel tells of a datagram beside its octets.
struct Told {
  Stamps stamps;
  std::uint32_t number = 0;
};

Told ReadControl(msghdr& header) {
  Told told;
  for (cmsghdr* part = CMSG_FIRSTHDR(&header); part != nullptr; part = CMSG_NXTHDR(&header, part)) {
    if (part->cmsg_level == SOL_SOCKET && part->cmsg_type == SCM_TIMESTAMPING) {
      scm_timestamping times{};
      std::memcpy(&times, CMSG_DATA(part), sizeof times);
      told.stamps = {Nanoseconds(times.ts[0]), Nanoseconds(times.ts[2])};
    } else if (part->cmsg_level == SOL_IP && part->cmsg_type == IP_RECVERR) {
      sock_extended_err error{};
      std::memcpy(&error, CMSG_DATA(part), sizeof error);
      told.number = error.ee_data;
    }
  }
  return told;
}

}  // namespace

StampedSocket::StampedSocket(Descriptor socket, const SocketSettings& settings)
    : socket_(std::move(socket)),
      sends_(settings.sends),
      hardwareStamps_(settings.hardwareStamps),
      port_(settings.port) {}

std::variant<StampedSocket, Failure> StampedSocket::Open(const SocketSettings& settings) {
  Descriptor descriptor(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, IPPROTO_UDP));
  const int number = descriptor.Number();
  const auto failure = [&](const char* what) {
    return Failure{ZV_E_INTERFACE_BIND_FAILED,
                   "network interface " + settings.interface + ": " + what + ": " + std::strerror(errno)};
  };
  if (!descriptor) return failure("no socket");
  if (!SetOption(number, SOL_SOCKET, SO_REUSEADDR, 1)) return failure("no shared port");
  SetOption(number, SOL_SOCKET, SO_RCVBUF, receiveBuffer);  // or what the system allows
  if (setsockopt(number, SOL_SOCKET, SO_BINDTODEVICE, settings.interface.data(),
                 static_cast<socklen_t>(settings.interface.size())) != 0) {
    return failure("can't be bound to");
  }
  const sockaddr_in address = GroupAddress(settings.port);
  if (bind(number, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    return BindFailure(settings, errno);
  }
  if (!JoinGroup(number, settings)) return failure("no membership of PTP's multicast group");
  StampedSocket opened(std::move(descriptor), settings);
  if (!opened.StampsOn()) return failure("no time stamps");
  return opened;
}

/// The kernel counts what is sent anew.
bool StampedSocket::StampsOn() {
  int flags = SOF_TIMESTAMPING_SOFTWARE | SOF_TIMESTAMPING_RX_SOFTWARE;
  if (sends_) {
    flags |= SOF_TIMESTAMPING_TX_SOFTWARE | SOF_TIMESTAMPING_OPT_ID | SOF_TIMESTAMPING_OPT_TSONLY;
  }
  if (hardwareStamps_) {
    flags |= SOF_TIMESTAMPING_RAW_HARDWARE | SOF_TIMESTAMPING_RX_HARDWARE | SOF_TIMESTAMPING_OPT_TX_SWHW;
    if (sends_) flags |= SOF_TIMESTAMPING_TX_HARDWARE;
  }
  nextNumber_ = 0;
  unstamped_.clear();
  return SetOption(socket_.Number(), SOL_SOCKET, SO_TIMESTAMPING, 0) &&
         SetOption(socket_.Number(), SOL_SOCKET, SO_TIMESTAMPING, flags);
}

std::optional<Datagram> StampedSocket::Receive() {
  alignas(cmsghdr) char control[256];
  sockaddr_in from{};
  iovec part{octets_.data(), octets_.size()};
  msghdr header{};
  header.msg_name = &from;
  header.msg_namelen = sizeof from;
  header.msg_iov = &part;
  header.msg_iovlen = 1;
  header.msg_control = control;
  header.msg_controllen = sizeof control;
  const ssize_t size = recvmsg(socket_.Number(), &header, 0);
  if (size < 0) return std::nullopt;
  Datagram datagram{.octets = std::span(octets_).first(static_cast<std::size_t>(size)),
                    .sourceAddress = {},
                    .stamps = ReadControl(header).stamps};
  std::memcpy(datagram.sourceAddress.data(), &from.sin_addr, datagram.sourceAddress.size());
  return datagram;
}

void StampedSocket::Send(std::span<const std::uint8_t> octets, std::uint16_t tag) {
  const sockaddr_in to = GroupAddress(port_);
  if (sendto(socket_.Number(), octets.data(), octets.size(), 0, reinterpret_cast<const sockaddr*>(&to),
             sizeof to) < 0) {
    StampsOn();  // whether the kernel has counted it depends on where it failed
    return;
  }
  if (unstamped_.size() == mostUnstamped) unstamped_.pop_front();
  unstamped_.push_back({nextNumber_++, {tag, {}}});
}

std::optional<StampedSocket::Sent> StampedSocket::TakeSent() {
  for (;;) {
    alignas(cmsghdr) char control[512];
    msghdr header{};
    header.msg_control = control;
    header.msg_controllen = sizeof control;
    if (recvmsg(socket_.Number(), &header, MSG_ERRQUEUE) < 0) return std::nullopt;
    const Told told = ReadControl(header);
    if (auto sent = Complete(told.number, told.stamps)) return sent;
  }
}

/// The two stamps of a datagram come one by one.
std::optional<StampedSocket::Sent> StampedSocket::Complete(std::uint32_t number, const Stamps& stamps) {
  const auto found = std::ranges::find(unstamped_, number, &Unstamped::number);
  if (found == unstamped_.end()) return std::nullopt;
  Stamps& known = found->sent.stamps;
  if (stamps.system != 0) known.system = stamps.system;
  if (stamps.hardware != 0) known.hardware = stamps.hardware;
  if (known.system == 0 || (hardwareStamps_ && known.hardware == 0)) return std::nullopt;
  const Sent sent = found->sent;
  unstamped_.erase(found);
  return sent;
}

std::optional<Failure> SwitchHardwareStampsOn(const std::string& interface) {
  const auto failure = [&](HRESULT code, const std::string& text) {
    return Failure{code, "network interface " + interface + " " + text};
  };
  const Descriptor socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  ifreq request{};
  interface.copy(request.ifr_name, IFNAMSIZ - 1);
  ethtool_ts_info info{};
  info.cmd = ETHTOOL_GET_TS_INFO;
  request.ifr_data = reinterpret_cast<char*>(&info);
  constexpr std::uint32_t needed =
      SOF_TIMESTAMPING_TX_HARDWARE | SOF_TIMESTAMPING_RX_HARDWARE | SOF_TIMESTAMPING_RAW_HARDWARE;
  if (ioctl(socket.Number(), SIOCETHTOOL, &request) != 0 || (info.so_timestamping & needed) != needed) {
    return failure(ZV_E_INVALID_PARAMETER, "has no clock that stamps, which ZV_NET_CLOCK=phc asks for");
  }
  hwtstamp_config config{};
  request.ifr_data = reinterpret_cast<char*>(&config);
  if (ioctl(socket.Number(), SIOCGHWTSTAMP, &request) == 0 && config.tx_type == HWTSTAMP_TX_ON &&
      config.rx_filter != HWTSTAMP_FILTER_NONE) {
    return std::nullopt;
  }
  config = {.flags = 0, .tx_type = HWTSTAMP_TX_ON, .rx_filter = HWTSTAMP_FILTER_PTP_V2_EVENT};
  if (ioctl(socket.Number(), SIOCSHWTSTAMP, &request) == 0) return std::nullopt;
  return failure(ZV_E_INTERFACE_BIND_FAILED, std::string("can't be made to stamp in hardware: ") +
                                                 std::strerror(errno) +
                                                 "; it takes the capability CAP_NET_ADMIN");
}

}  // namespace kestrune::network
