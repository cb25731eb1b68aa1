#pragma once

/// The command line: commands, their options and their help.

#include "Host/CommandLine/Options.h"

#include <optional>

/// Reads the command line. Nothing when it asks for help or the version, which has then been printed. Throws WrongUse
/// that names the first wrong argument.
///
/// The command is the first argument that is neither an option nor the value of one; "encode" where that is no
/// command's name. Options may stand before it, after it and between file names. "./info" and what follows "--" are
/// files.
std::optional<Options> ReadCommandLine(int argc, const char* const* argv);
