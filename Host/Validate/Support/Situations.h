#pragma once

/// The states in which a host may ask a compressor what it is and can do.

#include "RHOAPI/RhoapiAudioCodec.h"

#include <functional>
#include <string>

class CheckedModule;

/// Calls `check` with a new compressor; then, for each of the usual setups (ForEachSetup), with one that is set up,
/// with it and a copy of it in the middle of a run, and with it after the run. `when` says which: "of a new
/// compressor".
void ForEachSituation(const CheckedModule& module,
                      const std::function<void(IAudioCompressor& compressor, const std::string& when)>& check);
