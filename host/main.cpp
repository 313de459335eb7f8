#include "host/cli/run.h"

int main(int argc, char** argv) { return b2drive::cli::Run(argc, argv); }
