#pragma once

namespace kestrune {

/// Prints to standard output what the tool is for and how to call it.
void PrintUsage();

/// Prints to standard output how to convert a raw data file.
void PrintPrivilegedUsage();

}  // namespace kestrune
