#include "host/cli/run.h"
#include "host/commands/commands.h"

int main(int argc, char** argv) { return b2drive::cli::Run(argc, argv, b2drive::cli::AddCommands); }
