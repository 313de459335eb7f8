#pragma once

#include <string>

namespace b2drive::cli {

// The script for "bash", "zsh" or "fish"; empty for another shell. Each hands the line to
// `b2drive __complete` and leaves all quoting to the shell's own completion.
std::string CompletionScript(const std::string& shell);

}  // namespace b2drive::cli
