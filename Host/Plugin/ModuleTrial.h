#pragma once

/// A module that takes down the process that loads it is to take down another one. It is tried out in a child: loaded,
/// asked for a compressor, and unloaded again.

#include <string>

/// Throws Failure when the module crashes, hangs or ends the process in the trial: "cannot use the module: it crashed
/// on loading (SIGSEGV)". Whatever else may be wrong with it is left to whoever loads it next.
///
/// The module beside this program is not tried, it is of one build with it: a start of the program takes 2 to 3 ms, and
/// a trial would take as long again. Of others it is remembered until the file changes (TrialMemory.h) whether they are
/// sound, crash or end the process; not that one hung, or could not be loaded, which may be different the next time.
void RefuseDangerousModule(const std::string& path);

/// The first argument of a program that is such a child; the module follows.
constexpr const char* kTrialArgument = "--try-module-in-child";

/// The child's work. Ends the process.
[[noreturn]] void TryModuleInChild(const std::string& path);
