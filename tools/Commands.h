#pragma once

namespace rzft {

// Parses the command line and runs the chosen command; returns the exit code.
int RunCommandLine(int argc, char** argv);

}  // namespace rzft
