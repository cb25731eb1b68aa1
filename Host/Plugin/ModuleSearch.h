#pragma once

/// Where modules are. In this order:
///   1. the folders in the environment variable RHO_PLUGIN_PATH, separated by colons;
///   2. the user's: $XDG_DATA_HOME/rho/plugins, or ~/.local/share/rho/plugins;
///   3. the folder that holds this program or library, bundles alone: other libraries are there too;
///   4. the system's: PREFIX/lib/rho/plugins, with the machine's own folder below lib where there is one.
///
/// A module is a shared library "NAME.so" or a bundle "NAME.bundle", a folder that holds
/// "Contents/x86_64-linux/NAME.so" (of 32-bit programs "Contents/i386-linux/NAME.so").

#include <filesystem>
#include <string>
#include <vector>

/// The folders above, whether they exist or not, each of them once.
std::vector<std::string> ModuleFolders();

/// The file to load for `path`: the library inside a bundle, or `path` itself.
///   "lib/PCMPlugin.bundle" -> "lib/PCMPlugin.bundle/Contents/x86_64-linux/PCMPlugin.so"
std::string ModuleFile(const std::string& path);

/// The file to load for a module that a user names. With a slash `name` is a path (see ModuleFile). Without one it is
/// looked up in the folders, as it is or without its ".so" or ".bundle", and nowhere else: neither the current folder
/// nor the loader's search path count. Throws Failure if there is no such module.
std::string FindModule(const std::string& name);

/// The name of the module that is installed with this program.
constexpr const char* kDefaultModule = "PCMPlugin";

/// Whether `file` is the module that is installed with this program: kDefaultModule in one of the last two folders.
bool IsInstalledModule(const std::string& file);

struct FoundModule {
  std::string name;       ///< without ".so" or ".bundle"
  std::string path;       ///< of the library or the bundle
  bool isHidden = false;  ///< whether FindModule finds another one of this name, in an earlier folder
};

/// All modules in the folders, in the order of the folders and by name in each. Folders that cannot be read count as
/// empty. Nothing is loaded.
std::vector<FoundModule> ListModules();

/// The folder of the program or the shared library that this function is part of.
std::filesystem::path OwnFolder();

/// `folder` below the prefix of the installation, which may have been moved: OwnFolder without "bin" or "lib", or the
/// prefix that the build was configured for.
///   "libexec/rho" -> "/usr/libexec/rho"
std::filesystem::path InstalledFolder(const std::string& folder);

/// A library of this program's own: beside it, or in "lib/rho" below the prefix. Empty if there is none.
///   "TagReader.so" -> "/usr/lib/rho/TagReader.so"
std::string FindOwnLibrary(const std::string& name);
