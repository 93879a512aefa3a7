#pragma once

#include <iterator>
#include <string_view>

namespace kestrune::kit {

/// Every operation of the card services that a program may call.
enum class Operation {
#define OPERATION(name) name,
#include "kit/operations.def"
#undef OPERATION
};

/// The operations' names, in the enumeration's order.
inline constexpr std::string_view operationNames[] = {
#define OPERATION(name) #name,
#include "kit/operations.def"
#undef OPERATION
};

inline constexpr std::size_t operationCount = std::size(operationNames);

}  // namespace kestrune::kit
