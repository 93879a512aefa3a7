#include "network/link_watch.h"

#include <ifaddrs.h>
#include <linux/ethtool.h>
#include <linux/rtnetlink.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string_view>

namespace kestrune::network {
namespace {

Descriptor OpenNetlink(unsigned groups) {
  Descriptor socket(::socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE));
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_groups = groups;
  if (!socket || bind(socket.Number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    return Descriptor();
  }
  return socket;
}

ifreq RequestFor(const std::string& interface) {
  ifreq request{};
  interface.copy(request.ifr_name, IFNAMSIZ - 1);
  return request;
}

/// RTM_GETLINK for one interface by its name or an alternative one.
struct LinkRequest {
  nlmsghdr header;
  ifinfomsg link;
  rtattr nameHeader;
  char name[128];  // as long as an alternative name may be, with its end
};

/// One of a link message's attributes; null when it isn't there or is shorter than `size`.
const void* FindAttribute(const ifinfomsg* link, unsigned short type, std::size_t size, std::size_t left) {
  auto length = static_cast<int>(left);
  for (const rtattr* at = IFLA_RTA(link); RTA_OK(at, length); at = RTA_NEXT(at, length)) {
    if (at->rta_type == type && RTA_PAYLOAD(at) >= size) return RTA_DATA(at);
  }
  return nullptr;
}

Link ReadLink(const ifinfomsg* info, std::size_t left) {
  Link link;
  link.index = static_cast<unsigned>(info->ifi_index);
  const void* name = FindAttribute(info, IFLA_IFNAME, 1, left);
  if (name != nullptr) link.name = static_cast<const char*>(name);
  link.carrier = (info->ifi_flags & IFF_UP) != 0 && (info->ifi_flags & IFF_RUNNING) != 0;
  if (const void* address = FindAttribute(info, IFLA_ADDRESS, link.macAddress.size(), left)) {
    std::memcpy(link.macAddress.data(), address, link.macAddress.size());
  }
  rtnl_link_stats64 counts{};
  // The kernel's structure grows with its versions; what is read here stands in its oldest part.
  constexpr std::size_t oldest = offsetof(rtnl_link_stats64, rx_compressed);
  if (const void* statistics = FindAttribute(info, IFLA_STATS64, oldest, left)) {
    std::memcpy(&counts, statistics, oldest);
  }
  link.octetsReceived = counts.rx_bytes;
  link.octetsTransmitted = counts.tx_bytes;
  link.packetsReceived = counts.rx_packets;
  link.packetsTransmitted = counts.tx_packets;
  link.transmitDropped = counts.tx_dropped;
  link.receiveErrors = counts.rx_errors;
  return link;
}

}  // namespace

std::optional<LinkWatch> LinkWatch::Open() {
  Descriptor changes = OpenNetlink(RTMGRP_LINK | RTMGRP_IPV4_IFADDR);
  Descriptor requests = OpenNetlink(0);
  Descriptor device(socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  if (!changes || !requests || !device) return std::nullopt;
  return LinkWatch(std::move(changes), std::move(requests), std::move(device));
}

void LinkWatch::WaitForChange(std::int64_t nanoseconds) const {
  constexpr std::int64_t second = 1'000'000'000;
  const std::int64_t time = std::max<std::int64_t>(nanoseconds, 0);
  const timespec timeout{.tv_sec = time / second, .tv_nsec = time % second};
  pollfd change{.fd = changes_.Number(), .events = POLLIN, .revents = 0};
  ppoll(&change, 1, &timeout, nullptr);
}

bool LinkWatch::TakeChange() {
  bool changed = false;
  char ignored[64];  // the rest of a message is cut off
  while (recv(changes_.Number(), ignored, sizeof ignored, 0) >= 0 || errno == ENOBUFS) changed = true;
  return changed;
}

std::optional<Link> LinkWatch::Read(const std::string& interface) const {
  LinkRequest request{};
  request.header.nlmsg_type = RTM_GETLINK;
  request.header.nlmsg_flags = NLM_F_REQUEST;
  request.link.ifi_family = AF_UNSPEC;
  const std::size_t size = interface.copy(request.name, sizeof request.name - 1) + 1;
  request.nameHeader.rta_type = size <= IFNAMSIZ ? IFLA_IFNAME : IFLA_ALT_IFNAME;
  request.nameHeader.rta_len = static_cast<unsigned short>(RTA_LENGTH(size));
  request.header.nlmsg_len = static_cast<std::uint32_t>(offsetof(LinkRequest, name) + size);
  if (send(requests_.Number(), &request, request.header.nlmsg_len, 0) < 0) return std::nullopt;

  alignas(nlmsghdr) char answer[16'384];
  const ssize_t received = recv(requests_.Number(), answer, sizeof answer, 0);
  const auto* header = reinterpret_cast<const nlmsghdr*>(answer);
  if (received < 0 || !NLMSG_OK(header, static_cast<unsigned>(received)) ||
      header->nlmsg_type != RTM_NEWLINK) {
    return std::nullopt;
  }
  const auto* info = static_cast<const ifinfomsg*>(NLMSG_DATA(header));
  if (header->nlmsg_len < NLMSG_LENGTH(sizeof *info)) return std::nullopt;
  return ReadLink(info, header->nlmsg_len - NLMSG_LENGTH(sizeof *info));
}

std::optional<std::uint32_t> LinkWatch::Ipv4Address(const std::string& interface) const {
  ifaddrs* all = nullptr;
  if (getifaddrs(&all) != 0) return std::nullopt;
  const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> held(all, freeifaddrs);
  for (const ifaddrs* at = all; at != nullptr; at = at->ifa_next) {
    if (at->ifa_addr == nullptr || at->ifa_addr->sa_family != AF_INET) continue;
    const std::string_view label = at->ifa_name;  // the interface's name, mostly, or one that begins with it
    if (label.substr(0, label.find(':')) != interface) continue;
    sockaddr_in address{};
    std::memcpy(&address, at->ifa_addr, sizeof address);
    return address.sin_addr.s_addr;
  }
  return std::nullopt;
}

std::uint32_t LinkWatch::Speed(const std::string& interface) const {
  ifreq request = RequestFor(interface);
  ethtool_cmd settings{};
  settings.cmd = ETHTOOL_GSET;
  request.ifr_data = reinterpret_cast<char*>(&settings);
  if (ioctl(device_.Number(), SIOCETHTOOL, &request) != 0) return 0;
  const std::uint32_t speed = ethtool_cmd_speed(&settings);
  return speed == static_cast<std::uint32_t>(SPEED_UNKNOWN) ? 0 : speed;
}

}  // namespace kestrune::network
