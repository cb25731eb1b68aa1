#pragma once

/// The modules that there are, with their descriptions. Describing a module starts a child process, so the descriptions
/// are kept in GStreamer's registry, with what identifies the file that they are of.

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

/// A module that can be described.
struct CatalogEntry {
  std::string name;                    ///< without ".so" or ".bundle"
  std::string path;                    ///< of the library or the bundle
  nlohmann::ordered_json description;  ///< as docs/info.md says
};

/// What ReadCatalog has found.
struct ModuleCatalog {
  std::vector<CatalogEntry> entries;  ///< in the order in which modules are looked for, hidden ones left out
  std::vector<std::string> refusals;  ///< "PATH: REASON" for each module that cannot be used
  std::string cache;                  ///< ASCII text for the next ReadCatalog
};

/// Finds all modules and describes those whose files are not the ones that `cache` has descriptions of. `cache` is the
/// text that an earlier call has returned, or empty. A module that crashes or hangs is a refusal.
ModuleCatalog ReadCatalog(const std::string& cache);
