#pragma once

#include "Host/CommandLine/Options.h"

/// Encodes the inputs of the options into their folder, several at a time, each with a compressor of its own. Skips
/// files found in folders that are not sounds and, with --skip-existing, existing outputs; the summary counts those
/// that are older than their input. A file that fails does not stop the others. Creates missing folders (0777 less the
/// umask). Prints each failure and a summary to standard error; a dry run prints its plan to standard output.
///
/// True when no file failed. Throws Failure or WrongUse, before anything is written, for errors that concern all files:
/// module, settings, folder, an output that would overwrite an input.
bool EncodeMany(const Options& options);
