#pragma once

namespace b2drive::cli {

// The whole program: reads the arguments, runs the command and gives the exit code.
int Run(int argc, char** argv);

}  // namespace b2drive::cli
