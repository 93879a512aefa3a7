#pragma once

#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace kestrune::network {

using Octets = std::vector<std::uint8_t>;

/// The datagrams of one of the fuzz target's seeds.
inline std::vector<Octets> ReadSeed(const std::string& name) {
  std::ifstream file(std::string(KESTRUNE_SOURCE_FOLDER) + "/fuzz/corpus/ptp_message/" + name,
                     std::ios::binary);
  const Octets all{std::istreambuf_iterator<char>(file), {}};
  std::vector<Octets> datagrams;
  for (auto at = all.begin(); at < all.end();) {
    const auto end = at + 1 + *at;
    datagrams.emplace_back(at + 1, end);
    at = end;
  }
  return datagrams;
}

}  // namespace kestrune::network
