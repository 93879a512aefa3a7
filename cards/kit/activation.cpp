#include "kit/activation.h"

#include <utility>

namespace kestrune::kit {

Activation::Activation(System system, const std::shared_ptr<Clock>& clock)
    : strike_(std::move(system.strike)) {
  for (auto& card : system.cards) engines_.push_back(std::make_shared<CardEngine>(std::move(card), clock));
}

Activation::~Activation() {
  for (const auto& engine : engines_) engine->Stop();
}

}  // namespace kestrune::kit
