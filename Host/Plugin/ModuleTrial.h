#pragma once

/// A module is code: loading it may crash, hang or end the process. These functions let that happen in a child process,
/// which loads the module, creates a compressor, releases it and unloads the module.

#include <string>

/// Throws Failure if the module crashes, hangs for 10 s or ends the process in the child: "cannot use the module: it
/// crashed on loading (SIGSEGV)". Errors that the module reports are left to whoever loads it next. The module that is
/// installed with this program is not tried; each call for another one starts a child (2 to 3 ms).
void RefuseDangerousModule(const std::string& path);

/// The first argument of a program that is such a child; the module's path follows.
constexpr const char* kTrialArgument = "--try-module-in-child";

/// Main function of the child. Ends the process.
[[noreturn]] void TryModuleInChild(const std::string& path);
