#pragma once

#include <string>

namespace b2drive {

bool StdinIsTerminal();
bool StdoutIsTerminal();
bool StderrIsTerminal();

// Columns of the terminal behind standard error; 80 when unknown.
int TerminalColumns();

// Writes one line to standard error, over a progress bar when one is shown.
void PrintToTerminal(const std::string& line);

// Writes one line to standard output at once, where a progress bar is shown on the same terminal
// over that. Whether it came through, FlushOutput tells.
void PrintToOutput(const std::string& line);
// Ends what is printed on standard output; 0 or an errno, EPIPE when its reader went away.
int FlushOutput();

// To be called first. Of standard input, output and error those that are closed get a descriptor
// that can neither be read nor written, or what is opened next, a file or a connection, would take
// the number and be printed into.
void OccupyStandardDescriptors();

// The next line of standard input, without its end; empty behind the last.
std::string ReadInputLine();

// Asks `question` on standard error and reads the answer from standard input; true for y or yes.
bool Confirm(const std::string& question);

// Asks on the controlling terminal; `hidden` turns the echo off while the user types. Throws
// kNoAccount when there is no terminal.
std::string Prompt(const std::string& question, bool hidden);

}  // namespace b2drive
