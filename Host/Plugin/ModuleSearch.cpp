#include "Host/Plugin/ModuleSearch.h"

#include "Host/Text/Errors.h"

#include <dlfcn.h>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <link.h>

#include <algorithm>
#include <cstdlib>
#include <set>
#include <string_view>

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kLibrary = ".so";
constexpr std::string_view kBundle = ".bundle";
/// The system's folder for modules, below the prefix.
constexpr const char* kSystemFolder = RHO_LIBDIR "/rho/plugins";

/// The value of an environment variable; empty if it is not set. In a program that runs with the rights of another user
/// (setuid) it is empty too: the caller must not choose the code that such a program loads.
std::string Environment(const char* name) {
  const char* const value = secure_getenv(name);
  return value == nullptr ? std::string() : value;
}

/// The user's folder; empty if there is none. As for all XDG base directories, relative paths are ignored.
fs::path UserFolder() {
  const fs::path data = Environment("XDG_DATA_HOME");
  const fs::path home = Environment("HOME");
  const fs::path base = data.is_absolute() ? data : home.is_absolute() ? home / ".local/share" : fs::path();
  return base.empty() ? base : base / "rho/plugins";
}

/// The type of what is at `path`; not_found if nothing is, or if permissions forbid looking: a folder of another user
/// may come before the one that has the module. Throws Failure for other errors of the system.
fs::file_type TypeOf(const fs::path& path) {
  std::error_code error;
  const fs::file_type type = fs::status(path, error).type();
  if (type == fs::file_type::none && error != std::errc::permission_denied) {
    throw SystemFailure(path.native(), "look at it", error.value());
  }
  return type == fs::file_type::none ? fs::file_type::not_found : type;
}

bool IsModuleName(const fs::path& path) { return path.extension() == kLibrary || path.extension() == kBundle; }

/// Whether a file or folder in `folder` may be a module by its name. The program's own folder also holds libraries that
/// are no modules, so only bundles count there.
bool Counts(const fs::path& path, const fs::path& folder) {
  return path.extension() == kBundle || (path.extension() == kLibrary && folder != OwnFolder());
}

/// The path of the module of that name in the folder, given with or without its suffix; empty if there is none.
std::string InFolder(const fs::path& folder, const std::string& name) {
  const fs::path bare = IsModuleName(name) ? fs::path(name).stem() : fs::path(name);
  for (const std::string_view suffix : {kBundle, kLibrary}) {
    fs::path path = folder / bare;
    path += suffix;
    if (Counts(path, folder) && (bare == name || path.filename() == name) && TypeOf(path) != fs::file_type::not_found) {
      return path;
    }
  }
  return {};
}

/// Finds the folder of the file that contains this function's code. Throws Failure.
fs::path FindOwnFolder() {
  Dl_info info{};
  link_map* map = nullptr;
  const bool isKnown =
      dladdr1(reinterpret_cast<void*>(&OwnFolder), &info, reinterpret_cast<void**>(&map), RTLD_DL_LINKMAP) != 0;
  // The loader gives the program itself an empty name.
  const fs::path file = isKnown && map != nullptr && *map->l_name != '\0' ? map->l_name : "/proc/self/exe";
  std::error_code error;
  const fs::path resolved = fs::canonical(file, error);
  if (error) {
    throw SystemFailure(file.native(), "find its folder", error.value());
  }
  return resolved.parent_path();
}

}  // namespace

fs::path OwnFolder() {
  static const fs::path folder = FindOwnFolder();
  return folder;
}

fs::path InstalledFolder(const std::string& folder) {
  const std::string own = OwnFolder();
  // A GStreamer plug-in is one folder further down.
  for (const std::string_view below : {"/" RHO_BINDIR, "/" RHO_LIBDIR, "/" RHO_LIBDIR "/gstreamer-1.0"}) {
    if (own.ends_with(below)) {
      return fs::path(own.substr(0, own.size() - below.size())) / folder;
    }
  }
  return fs::path(RHO_PREFIX) / folder;
}

std::string FindOwnLibrary(const std::string& name) {
  for (const fs::path& folder : {OwnFolder(), InstalledFolder(RHO_LIBDIR "/rho")}) {
    if (TypeOf(folder / name) != fs::file_type::not_found) {
      return folder / name;
    }
  }
  return {};
}

std::vector<std::string> ModuleFolders() {
  std::vector<std::string> folders;
  const auto add = [&folders](const std::string& folder) {
    if (!folder.empty() && std::find(folders.begin(), folders.end(), folder) == folders.end()) {
      folders.push_back(folder);
    }
  };
  const std::string list = Environment("RHO_PLUGIN_PATH");
  // Empty entries are skipped: they do not mean the current folder.
  for (std::string_view rest = list; !rest.empty();) {
    const std::size_t colon = std::min(rest.find(':'), rest.size());
    add(std::string(rest.substr(0, colon)));
    rest.remove_prefix(std::min(colon + 1, rest.size()));
  }
  add(UserFolder());
  add(OwnFolder());
  add(InstalledFolder(kSystemFolder));
  return folders;
}

std::string ModuleFile(const std::string& path) {
  fs::path bundle = path;
  bundle = bundle.has_filename() ? bundle : bundle.parent_path();  // without a slash at the end
  if (bundle.extension() != kBundle || TypeOf(bundle) != fs::file_type::directory) {
    return path;
  }
  fs::path library = bundle / "Contents" / RHO_MACHINE / bundle.stem();
  // Appended: replace_extension would cut the name at a dot.
  library += kLibrary;
  return library;
}

std::string FindModule(const std::string& name) {
  if (name.find('/') != std::string::npos) {
    // Whether the file exists shows when it is loaded.
    return ModuleFile(name);
  }
  const std::vector<std::string> folders = ModuleFolders();
  for (const std::string& folder : folders) {
    if (const std::string path = name.empty() ? name : InFolder(folder, name); !path.empty()) {
      return ModuleFile(path);
    }
  }
  std::error_code error;
  const std::string hint = !name.empty() && fs::exists(name, error)
                               ? fmt::format("; \"./{}\" is the one in the current folder", name)
                               : std::string();
  throw Failure(fmt::format("no module \"{}\" in {}{}", name, fmt::join(folders, ", "), hint));
}

bool IsInstalledModule(const std::string& file) {
  // By the path alone: nothing is opened.
  return file == ModuleFile(InFolder(OwnFolder(), kDefaultModule)) ||
         file == ModuleFile(InFolder(InstalledFolder(kSystemFolder), kDefaultModule));
}

std::vector<FoundModule> ListModules() {
  std::vector<FoundModule> modules;
  std::set<std::string> names;
  for (const std::string& folder : ModuleFolders()) {
    std::vector<fs::path> paths;
    std::error_code error;
    // With error codes: a folder that does not exist or cannot be read counts as empty.
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
      if (Counts(entry->path(), folder)) {
        paths.push_back(entry->path());
      }
    }
    // A bundle is found before a library of the same name, as in FindModule.
    std::sort(paths.begin(), paths.end());
    for (const fs::path& path : paths) {
      const std::string name = path.stem();
      modules.push_back({name, path, !names.insert(name).second});
    }
  }
  return modules;
}
