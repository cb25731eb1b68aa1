#pragma once

/// What the program says: messages on standard error, results on standard output.

#include <string>
#include <string_view>

/// The text with a question mark in place of each control character, which file names may contain: the result is one
/// line and sends no commands to a terminal.
std::string WithoutControls(std::string text);

/// Writes "rhohost: TEXT" and a line feed to standard error, without control characters. Write errors are ignored.
/// Allocates no memory, so that running out of it can be reported.
void PrintMessage(std::string_view text);

/// Writes `text` to standard output and flushes it. Throws Failure when it cannot be written.
void Print(const std::string& text);
