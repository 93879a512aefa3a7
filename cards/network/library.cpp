// The library's system: one card, whose SFPs are the network interfaces that the environment variables name.

#include "kit/library.h"

#include <cstdio>
#include <utility>

#include "kit/system.h"
#include "network/configuration.h"
#include "network/network_card.h"

namespace kestrune::kit {
namespace {

HRESULT Tell(const network::Failure& failure) {
  std::fprintf(stderr, "%s: %s\n", libraryName, failure.text.c_str());
  return failure.code;
}

}  // namespace

const char* const libraryName = KESTRUNE_LIBRARY_NAME;

std::variant<System, HRESULT> MakeSystem() {
  const auto configuration = network::ReadConfiguration(EnvironmentText);
  if (const auto* failure = std::get_if<network::Failure>(&configuration)) return Tell(*failure);
  auto opened = network::NetworkCard::Open(std::get<network::Configuration>(configuration));
  if (const auto* failure = std::get_if<network::Failure>(&opened)) return Tell(*failure);
  System system;
  system.cards.push_back(std::move(std::get<std::unique_ptr<network::NetworkCard>>(opened)));
  return system;
}

}  // namespace kestrune::kit
