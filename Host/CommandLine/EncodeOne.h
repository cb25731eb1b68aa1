#pragma once

#include "Host/CommandLine/Options.h"

/// Encodes the input of the options with their module and prints a summary to standard error; a dry run prints its plan
/// to standard output. Throws Failure or WrongUse; the output is then as it was before. Saves the preset last, if one
/// is to be saved: when that fails, the output exists already.
void EncodeOne(const Options& options);
