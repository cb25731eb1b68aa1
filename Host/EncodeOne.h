#pragma once

#include "Host/Options.h"

/// Encodes what the options name, through the module, and says on standard error what it came to; with a dry run, says
/// on standard output what it would do. Throws Failure or WrongUse; the output then is as it was before.
void EncodeOne(const Options& options);
