#pragma once

/// Prints messages to standard error, and results to standard output.

#include <string>
#include <string_view>

/// The text with a question mark in place of each character that a terminal could act on or that could make the line
/// read differently from what it is: control characters (C0, DEL, C1), line and paragraph separators, marks, overrides
/// and isolates of the text direction; and of each byte that is not valid UTF-8. File names may contain them. The
/// result is one line.
std::string WithoutControls(std::string_view text);

/// Writes "rhohost: TEXT" and a line feed to standard error, as WithoutControls gives the text. Ignores write errors.
/// Allocates no memory, so that it can report running out of it. Any thread may call it.
void PrintMessage(std::string_view text);

/// Writes `text` to standard output and flushes it. Throws Failure when it cannot be written.
void Print(const std::string& text);
