#pragma once

#include "Host/CommandLine/Options.h"

/// Encodes the inputs of the options into their folder, as many side by side as the options allow, each with a
/// compressor of its own. Files in folders that are no sound files are skipped, and so are existing outputs if that is
/// wanted, even where the input has changed since, but then they are counted; a file that fails does not stop the
/// others. Missing folders are made with the permissions of any new folder (0777 less the umask). Says on standard
/// error which files failed and why, in the order of the inputs, and what all came to; with a dry run, says on standard
/// output what it would do.
///
/// True when no file failed. Throws Failure or WrongUse, before anything is written, for what concerns all files:
/// module, settings, folder, outputs that exclude each other (MakeWorkList).
bool EncodeMany(const Options& options);
