#pragma once

namespace kestrune::report {

/// The whole program: reads the command line and the files, judges, writes what is asked for. Returns the
/// exit status: 0 pass, 1 warn, 2 fail, 3 too little data for a verdict, 4 error.
int RunReport(int argc, const char* const* argv);

}  // namespace kestrune::report
