#pragma once

#include "Host/CommandLine/Options.h"

/// Encodes what the options name, through the module, and says on standard error what it came to; with a dry run, says
/// on standard output what it would do. Throws Failure or WrongUse; the output then is as it was before. A preset that
/// is to be saved is so at the end: there is none without an output, though there may be an output when the preset
/// fails.
void EncodeOne(const Options& options);
