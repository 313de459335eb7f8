#pragma once

#include <string>

namespace b2drive {

bool StdoutIsTerminal();
bool StderrIsTerminal();

// Columns of the terminal behind standard error; 80 when unknown.
int TerminalColumns();

// Writes one line to standard error, over a progress bar when one is shown.
void PrintToTerminal(const std::string& line);

bool StdinIsTerminal();

// The next line of standard input, without its end; empty behind the last.
std::string ReadInputLine();

// Asks `question` on standard error and reads the answer from standard input; true for y or yes.
bool Confirm(const std::string& question);

// Asks on the controlling terminal; `hidden` turns the echo off while the user types. Throws
// kNoAccount when there is no terminal.
std::string Prompt(const std::string& question, bool hidden);

}  // namespace b2drive
