// The kestrel tool as a function: main() passes its arguments on, and a
// program that drives the tool in-process (the command-line fuzz target)
// calls it the same way.
//
// Thread-safety: not reentrant; it sets process-wide state (the application
// home, the fixed clock) as the tool's main always has.
#pragma once

namespace kestrel::tool {

/// Parses the command line (argv[0] is the program name), runs the command
/// and returns the process exit status (see Run.cpp for the commands and the
/// statuses).
int run(int argc, char** argv);

}  // namespace kestrel::tool
