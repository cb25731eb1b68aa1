#pragma once

/// The life of a module in a host, phase by phase, for checks of what each phase does to the process.

#include <functional>
#include <string>

/// Loads the module at `path`, creates, sets up, runs, copies and releases compressors, and unloads it, with the
/// settings of a new compressor and with all of them changed. Calls `after` when a phase is over: "loading". Phases
/// that need entry points or a compressor are left out where the module lacks them.
void ForEachPhase(const std::string& path, const std::function<void(const char* phase)>& after);
