#pragma once

/// Loading a module runs its code, which may crash, hang or end the process. These functions let that happen in a child
/// process, which loads the module, describes its compressor, releases it and unloads the module.

#include <chrono>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <vector>

/// The time limit of the functions below unless the caller has another.
constexpr std::chrono::seconds kDescriptionTimeLimit{10};

/// Describes the module that FindModule finds for `name`, as docs/info.md says. Throws Failure if it is not found, is
/// not a module, or crashes, hangs or ends the process: "cannot use the module: it crashed on loading (SIGSEGV)".
nlohmann::ordered_json DescribeModule(const std::string& name,
                                      std::chrono::milliseconds timeLimit = kDescriptionTimeLimit);

/// Throws Failure if the module that FindModule finds for `name` crashes, hangs or ends the process when it is
/// described. Ignores errors that the module reports: loading it reports them again. The module that is installed with
/// this program is not tried; for another one a child is started each time (a few milliseconds).
void RefuseDangerousModule(const std::string& name);

/// All modules that ListModules finds: an array of objects with "name", "path", "hidden", and either "description", as
/// DescribeModule returns it, or "error", the reason why the module cannot be used.
nlohmann::ordered_json DescribeAllModules(std::chrono::milliseconds timeLimit = kDescriptionTimeLimit);

/// The array as text, for people.
std::string ModuleListText(const nlohmann::ordered_json& modules);

/// The child is the program rho-module-helper: the one that the environment variable RHO_MODULE_HELPER names, or that
/// is beside this library, or in the folder where it is installed. A program that calls this function uses itself
/// instead: its main function calls RunAsModuleHelper.
void UseThisProgramAsModuleHelper();

/// The paths of which the first that can be started is the program rho-module-helper.
std::vector<std::string> ModuleHelperPrograms();

/// In the main function of the helper, before anything else: does the child's work and ends the process if the
/// arguments ask for it; returns otherwise.
void RunAsModuleHelper(int argc, const char* const* argv);
