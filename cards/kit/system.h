#pragma once

#include <cstdio>
#include <string>

namespace kestrune::kit {

// What a card services library needs of the operating system; one source file for each.

/// The environment variable's value in UTF-8; empty: none.
std::string EnvironmentText(const char* name);

/// Opens the file with this UTF-8 path for reading; null when it can't be.
std::FILE* OpenForReading(const std::string& path);

}  // namespace kestrune::kit
